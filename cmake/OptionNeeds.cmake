# Options that need each other say so when the tree is configured, not when it is linked.
function(lantrix_needs option other why)
    if(${option} AND NOT ${other})
        message(FATAL_ERROR "${option} needs ${other}: ${why}. "
                "Pass -D${option}=OFF as well, or leave ${other} on.")
    endif()
endfunction()

lantrix_needs(LANTRIX_TOOLS LANTRIX_DEVSERVER "lantrix starts development servers of its own")
lantrix_needs(LANTRIX_PYTHON LANTRIX_STREAM "it reads and writes over many connections")
lantrix_needs(LANTRIX_BENCH LANTRIX_DEVSERVER "the benchmarks run against it")
lantrix_needs(LANTRIX_SOAK LANTRIX_DEVSERVER "the soak runs against it")
if(LANTRIX_FUZZ AND NOT CMAKE_CXX_COMPILER_ID MATCHES Clang)
    message(FATAL_ERROR "LANTRIX_FUZZ needs Clang. The preset fuzz selects it.")
endif()
