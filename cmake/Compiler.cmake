# What every source of the tree is compiled with, whatever its folder.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)

# Frames and files beyond 2 GiB are met in 32-bit processes too.
add_compile_definitions(_FILE_OFFSET_BITS=64)

if(LANTRIX_SANITIZE)
    # A report ends the process: a test that passes has none.
    add_compile_options(-fsanitize=${LANTRIX_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${LANTRIX_SANITIZE})
endif()
if(LANTRIX_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()

# The standard library's templates mark what they instantiate as exported, whatever the
# visibility of the code around them; a linker script takes that back where one is understood.
include(CheckLinkerFlag)
function(lantrix_hide_standard_library target)
    set(script ${PROJECT_SOURCE_DIR}/cmake/hidden.map)
    check_linker_flag(CXX -Wl,--version-script=${script} LANTRIX_HAS_VERSION_SCRIPT)
    if(LANTRIX_HAS_VERSION_SCRIPT)
        target_link_options(${target} PRIVATE -Wl,--version-script=${script})
        set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
    endif()
endfunction()
