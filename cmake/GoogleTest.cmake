# GoogleTest: the installed one, or built here for targets that it is not installed for.
if(LANTRIX_GTEST_SOURCE)
    set(INSTALL_GTEST OFF)
    add_subdirectory(${LANTRIX_GTEST_SOURCE} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
else()
    find_package(GTest REQUIRED)
endif()
include(GoogleTest)
