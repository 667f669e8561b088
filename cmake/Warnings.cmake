# Link to a target to compile it with the project's warnings.
add_library(stspi_warnings INTERFACE)
target_compile_options(stspi_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-qual -Wformat=2 -Wundef -Wvla
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wextra-semi>
  $<$<COMPILE_LANGUAGE:C>:-Wstrict-prototypes -Wmissing-prototypes>
  $<$<BOOL:${STSPI_WARNINGS_AS_ERRORS}>:-Werror>)

# Of sources that are compiled as one, g++ takes all but the first for headers.
if(CMAKE_UNITY_BUILD)
  target_compile_options(stspi_warnings INTERFACE $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-subobject-linkage>)
endif()
