# What the tool's web page is served with: LANTRIX_HTTPLIB_FOUND says whether it is there.
set(LANTRIX_HTTPLIB_FOUND OFF)
find_package(PkgConfig QUIET)
if(PKG_CONFIG_FOUND)
    pkg_check_modules(Httplib QUIET IMPORTED_TARGET GLOBAL cpp-httplib>=0.11)
    set(LANTRIX_HTTPLIB_FOUND ${Httplib_FOUND})
endif()
