# A room is a folder of sources with a door: a directory in the build tree that shows the headers of this folder under
# its path and nothing else, rooms within it neither. A target that links the room gets its door, and those of the rooms
# below, as include directories. So an include that is not among a room's links does not compile.
#
# add_room(TARGET STATIC|OBJECT SOURCE...) makes TARGET out of sources of the current folder.
function(add_room target kind)
  add_library(${target} ${kind} ${ARGN})
  open_door(${target} PUBLIC)
  target_link_libraries(${target} PRIVATE stspi_warnings)
endfunction()

# Gives a target the door of the current folder.
function(open_door target visibility)
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  set(door ${CMAKE_BINARY_DIR}/rooms/${target})
  file(GLOB headers RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} CONFIGURE_DEPENDS *.h)
  # A header that is gone must not stay behind in the door.
  file(REMOVE_RECURSE ${door})
  file(MAKE_DIRECTORY ${door}/${folder})
  foreach(header ${headers})
    file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/${header} ${door}/${folder}/${header} SYMBOLIC)
  endforeach()
  target_include_directories(${target} ${visibility} ${door})
endfunction()
