# Building for another processor, and running what was built under qemu. Included by the file of the processor, which sets
# CMAKE_SYSTEM_PROCESSOR and foreign_root. packaging/foreign-root.sh makes the folders.
set(CMAKE_SYSTEM_NAME Linux)
set(foreign ${CMAKE_CURRENT_LIST_DIR}/../../build/foreign)
get_filename_component(foreign ${foreign} ABSOLUTE)

set(CMAKE_C_COMPILER ${CMAKE_SYSTEM_PROCESSOR}-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER ${CMAKE_SYSTEM_PROCESSOR}-linux-gnu-g++)
set(CMAKE_SYSROOT ${foreign}/${foreign_root})
set(CMAKE_LIBRARY_ARCHITECTURE ${CMAKE_SYSTEM_PROCESSOR}-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
  ${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)

set(CMAKE_CROSSCOMPILING_EMULATOR ${foreign}/qemu/usr/bin/qemu-${CMAKE_SYSTEM_PROCESSOR};-L;${CMAKE_SYSROOT})
