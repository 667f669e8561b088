# The sanitizers instrument everything in the tree alike: programs, the plug-in, the image library.
if(STSPI_SANITIZE)
  add_compile_options(-fsanitize=${STSPI_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${STSPI_SANITIZE})
endif()
