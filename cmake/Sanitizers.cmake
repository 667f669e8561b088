# The sanitizers instrument everything in the tree alike: programs, the plug-in, the image library.
if(STSPI_SANITIZE)
  add_compile_options(-fsanitize=${STSPI_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${STSPI_SANITIZE})
  # What they know of each checked place is tens of megabytes of addresses. A program with a place of its own in memory has
  # them filled in already; any other would fill them in each time that it is started, and tests start thousands.
  add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-no-pie>)
endif()
# For the folder of the caller and those below it: not asked of every access is whether its address is one for that type, nor of
# every sum whether it passes the end of memory. What is asked there has to be known of each, which makes a program many times as
# large, and as slow to start. Addresses that are null or nobody's are found all the same; what makes records out of bytes lies
# elsewhere.
macro(stspi_sanitize_without_types)
  if(STSPI_SANITIZE MATCHES undefined)
    add_compile_options(-fno-sanitize=null,alignment,vptr,pointer-overflow)
  endif()
endmacro()

# In the rest of the suite the thread sanitizer has nothing to see.
if(STSPI_SANITIZE MATCHES thread)
  set(STSPI_SUITE_OPTIONS --filter threads.*,loading.*,load-process.*,logging.*,cycle.*,growth.*)
endif()
