# What makes mistakes in memory harder to exploit, in optimised builds: checked string functions, guarded stacks, tables
# that are bound at the start and read-only from then on. Sanitizers have checks of their own.
if(CMAKE_BUILD_TYPE MATCHES "^Rel" AND NOT STSPI_SANITIZE)
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong)
  add_link_options(LINKER:-z,relro LINKER:-z,now)
endif()
