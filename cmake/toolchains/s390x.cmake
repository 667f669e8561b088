set(CMAKE_SYSTEM_PROCESSOR s390x)
set(foreign_root s390x)
include(${CMAKE_CURRENT_LIST_DIR}/foreign.cmake)
