# Parses the largest headers once for many targets. This hides an include that a source lacks, so it is for builds of which
# another one shows that each source stands on its own; and a compiler cache, which sees through it badly, does better.
#
# precompile_headers(FOLDER...) does so for what is made in these folders and below.
set(largest_headers
  <CLI/CLI.hpp> <algorithm> <chrono> <filesystem> <fmt/format.h> <fstream> <functional> <map> <memory> <mutex>
  <nlohmann/json.hpp> <optional> <set> <sstream> <string> <thread> <unordered_map> <vector>)
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/precompiled.cpp CONTENT "int main() {}\n")

# What is compiled otherwise cannot share the result: libraries and programs differ in their relocations.
add_library(precompiled_for_rooms OBJECT ${CMAKE_BINARY_DIR}/precompiled.cpp)
add_executable(precompiled_for_tests ${CMAKE_BINARY_DIR}/precompiled.cpp)
foreach(target precompiled_for_rooms precompiled_for_tests)
  target_compile_definitions(${target} PRIVATE FMT_SHARED)
  target_link_libraries(${target} PRIVATE stspi_warnings)
  target_precompile_headers(${target} PRIVATE ${largest_headers})
endforeach()
target_link_libraries(precompiled_for_tests PRIVATE GTest::gmock)
target_precompile_headers(precompiled_for_tests PRIVATE <gtest/gtest.h> <gmock/gmock.h>)

function(precompile_headers)
  foreach(folder ${ARGN})
    get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target ${targets})
      get_target_property(kind ${target} TYPE)
      get_target_property(links ${target} LINK_LIBRARIES)
      get_target_property(visibility ${target} CXX_VISIBILITY_PRESET)
      if(visibility)
        # Compiled otherwise as well.
      elseif(kind STREQUAL EXECUTABLE AND links MATCHES "GTest|stspi_test_support")
        target_precompile_headers(${target} REUSE_FROM precompiled_for_tests)
      elseif(kind MATCHES "STATIC|OBJECT")
        target_precompile_headers(${target} REUSE_FROM precompiled_for_rooms)
      endif()
    endforeach()
    get_property(below DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
    precompile_headers(${below})
  endforeach()
endfunction()
