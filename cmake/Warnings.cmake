# Warnings for the folders that are added after this file; GoogleTest built from source is not ours.
add_compile_options(
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
    -Woverloaded-virtual -Wcast-align -Wcast-qual -Wdouble-promotion -Wundef -Wextra-semi
    -Wredundant-decls -Wvla -Wformat=2)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wduplicated-cond -Wduplicated-branches -Wsuggest-override
                        -Wmissing-declarations)
else()
    add_compile_options(-Wmissing-prototypes -Wsuggest-override)
endif()
if(LANTRIX_WERROR)
    add_compile_options(-Werror)
endif()
