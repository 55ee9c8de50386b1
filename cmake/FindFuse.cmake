# What the tool's mount is built with: LANTRIX_FUSE_FOUND says whether it is there.
set(LANTRIX_FUSE_FOUND OFF)
find_package(PkgConfig QUIET)
if(PKG_CONFIG_FOUND AND CMAKE_SIZEOF_VOID_P EQUAL 8)
    pkg_check_modules(Fuse QUIET IMPORTED_TARGET GLOBAL fuse3>=3.5)
    set(LANTRIX_FUSE_FOUND ${Fuse_FOUND})
endif()
