# The sanitizers instrument everything in the tree alike: programs, the plug-in, the image library.
if(STSPI_SANITIZE)
  add_compile_options(-fsanitize=${STSPI_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${STSPI_SANITIZE})
  # clang does not tell in the way that g++ does, and that the sources ask.
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    if(STSPI_SANITIZE MATCHES address)
      add_compile_definitions(__SANITIZE_ADDRESS__=1)
    elseif(STSPI_SANITIZE MATCHES thread)
      add_compile_definitions(__SANITIZE_THREAD__=1)
    endif()
  endif()
endif()
