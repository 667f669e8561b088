set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(foreign_root arm64)
include(${CMAKE_CURRENT_LIST_DIR}/foreign.cmake)
