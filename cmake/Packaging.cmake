# What is installed, in components, each of which becomes a Debian package: the library that programs
# run with, what building them takes, the programs, and the Python package.
include(CMakePackageConfigHelpers)

set(LANTRIX_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/lantrixClientAPI)
set(LANTRIX_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The headers have a folder of their own, since names like base/ and rc/ belong to everybody.
install(TARGETS ${LANTRIX_LIBRARIES} EXPORT lantrixClientAPITargets
    LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lantrixClientAPI
        COMPONENT development)
install(EXPORT lantrixClientAPITargets NAMESPACE lantrixClientAPI::
    DESTINATION ${LANTRIX_PACKAGE_DIR} COMPONENT development)

configure_package_config_file(cmake/lantrixClientAPIConfig.cmake.in lantrixClientAPIConfig.cmake
    INSTALL_DESTINATION ${LANTRIX_PACKAGE_DIR})
write_basic_package_version_file(lantrixClientAPIConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/lantrixClientAPIConfig.cmake
    ${PROJECT_BINARY_DIR}/lantrixClientAPIConfigVersion.cmake
    DESTINATION ${LANTRIX_PACKAGE_DIR} COMPONENT development)

# The file finds its prefix from its own place, so that an installed tree can be moved.
file(RELATIVE_PATH LANTRIX_PC_TO_PREFIX /prefix/${LANTRIX_PC_DIR} /prefix)
foreach(library IN LISTS LANTRIX_LIBRARIES)
    configure_file(cmake/${library}.pc.in ${library}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${library}.pc
        DESTINATION ${LANTRIX_PC_DIR} COMPONENT development)
endforeach()

# Installs a program of the tree, if it is built; it finds the library from its own place.
function(lantrix_install_program target folder)
    if(NOT TARGET ${target})
        return()
    endif()
    file(RELATIVE_PATH to_library /prefix/${folder} /prefix/${CMAKE_INSTALL_LIBDIR})
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${to_library}")
    install(TARGETS ${target} RUNTIME DESTINATION ${folder} COMPONENT tools)
endfunction()
lantrix_install_program(lantrixd ${CMAKE_INSTALL_BINDIR})
lantrix_install_program(lantrix ${CMAKE_INSTALL_BINDIR})
lantrix_install_program(lantrix-mount ${CMAKE_INSTALL_LIBEXECDIR}/lantrix)
lantrix_install_program(lantrix-web ${CMAKE_INSTALL_LIBEXECDIR}/lantrix)

# Debian's names are lower case, and its packages belong below /usr.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "The lantrixClientAPI developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "client library and tools for media servers")
set(CPACK_PACKAGE_CONTACT "lantrixClientAPI <lantrixclientapi@localhost>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME liblantrixclientapi${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "The shared libraries.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liblantrixclientapi-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "Headers, CMake package and pkg-config files of the libraries.")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
if(TARGET lantrixd)
    list(APPEND CPACK_COMPONENTS_ALL tools)
    set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME lantrix-tools)
    set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION graphics)
    set(CPACK_COMPONENT_TOOLS_DESCRIPTION
        "lantrix, the command-line tool, and lantrixd, a server for development and tests.")
    set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
endif()
if(TARGET lantrixPython)
    list(APPEND CPACK_COMPONENTS_ALL python)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-lantrix)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
    # The extension is one of this version of Python alone.
    math(EXPR next_minor "${Python_VERSION_MINOR} + 1")
    set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
        "python3 (>= 3.${Python_VERSION_MINOR}), python3 (<< 3.${next_minor}), python3-numpy")
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-dask, python3-distributed")
    set(CPACK_COMPONENT_PYTHON_DESCRIPTION "The Python package: clips as numpy arrays.")
    set(CPACK_COMPONENT_PYTHON_DEPENDS runtime)
endif()
include(CPack)
