# For the folder of the caller and those below it, whose programs tests run for minutes: a debug build takes the optimisation that
# spares the debugger. They run in half the time; everywhere else that would not win back what compiling takes longer.
macro(stspi_optimise_debug_build)
  if(CMAKE_BUILD_TYPE STREQUAL Debug AND CMAKE_CXX_COMPILER_ID STREQUAL GNU AND NOT STSPI_SANITIZE
     AND NOT CMAKE_CXX_FLAGS MATCHES "-O0")
    add_compile_options(-Og)
  endif()
endmacro()
