# What is installed where. The components are Debian packages, see Packages.cmake:
#   plugin       the plug-in, its configuration manual and examples
#   tools        simhost and stspi-conformance
#   doc          what docs/ holds
#   dev          the public headers with their manuals
#   stsimage     the substitute image library, apart: beside the real one it would shadow it; with what tries a file system for it
#   rados        its store in a Ceph cluster
#   s3           its store in a service that speaks S3
include(CMakePackageConfigHelpers)
include(cmake/Manuals.cmake)

# As distributions of RPM packages have 64-bit libraries, whatever machine makes the packages: in lib64, and executable.
if(CPACK_GENERATOR STREQUAL "RPM")
  set(CMAKE_INSTALL_LIBDIR lib64)
  set(CMAKE_INSTALL_SO_NO_EXE OFF)
endif()

# Frameworks load plug-ins by path; no program links one.
set(STSPI_PLUGIN_DIR ${CMAKE_INSTALL_LIBDIR}/stspi)

install(TARGETS stspi_kelvarpool LIBRARY DESTINATION ${STSPI_PLUGIN_DIR} COMPONENT plugin)
if(TARGET stspi_filter)
  install(TARGETS stspi_filter LIBRARY DESTINATION ${STSPI_PLUGIN_DIR} COMPONENT tools)
endif()
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/stspi-kelvarpool/examples COMPONENT plugin
  FILES_MATCHING PATTERN *.sim)
install_manual(${PROJECT_SOURCE_DIR}/man/sim.5 plugin)
# The plug-in reads this directory wherever it is installed itself.
install(DIRECTORY DESTINATION /etc/quillmere COMPONENT plugin)

install(TARGETS simhost RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
install_manual(${PROJECT_SOURCE_DIR}/man/simhost.1 tools)
install_manual(${PROJECT_SOURCE_DIR}/man/stspi-filter.5 tools)
install_manual(${PROJECT_SOURCE_DIR}/man/stspi-journal.5 tools)
install(FILES docs/journal.schema.json docs/simhost.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/stspi COMPONENT tools)
install(FILES simhost/completion/simhost.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
  RENAME simhost COMPONENT tools)
install(FILES simhost/completion/simhost.zsh DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions
  RENAME _simhost COMPONENT tools)
install(FILES simhost/completion/simhost.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
  COMPONENT tools)
if(STSPI_BUILD_CONFORMANCE)
  install(TARGETS stspi-conformance RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  # Found by the suite as ../lib/stspi-conformance, seen from its own directory.
  install(TARGETS stspi_conformance_image_double stspi_conformance_foreign
    LIBRARY DESTINATION lib/stspi-conformance COMPONENT tools)
  install_manual(${PROJECT_SOURCE_DIR}/man/stspi-conformance.1 tools)
  install_manual(${PROJECT_SOURCE_DIR}/man/stspi-conformance-explore.1 tools)
  install_manual(${PROJECT_SOURCE_DIR}/man/stspi-conformance-replay.1 tools)
endif()

install(FILES README.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/stspi-doc COMPONENT doc)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/stspi-doc COMPONENT doc
  FILES_MATCHING PATTERN *.md PATTERN *.svg)

install(DIRECTORY include/stspi DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev FILES_MATCHING PATTERN *.h)
install(TARGETS stspi_headers EXPORT stspi)
set_target_properties(stspi_headers PROPERTIES EXPORT_NAME headers)
install(EXPORT stspi NAMESPACE stspi:: FILE stspiConfig.cmake
  DESTINATION ${CMAKE_INSTALL_DATADIR}/cmake/stspi COMPONENT dev)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/stspiConfigVersion.cmake
  COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
install(FILES ${CMAKE_BINARY_DIR}/stspiConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_DATADIR}/cmake/stspi COMPONENT dev)
configure_file(cmake/stspi.pc.in ${CMAKE_BINARY_DIR}/stspi.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/stspi.pc DESTINATION ${CMAKE_INSTALL_DATADIR}/pkgconfig COMPONENT dev)

# Manuals of the entry points come from the header itself.
find_package(Python3 COMPONENTS Interpreter)
if(Python3_FOUND)
  set(entry_point_manuals ${CMAKE_BINARY_DIR}/man/man3)
  add_custom_command(OUTPUT ${entry_point_manuals}/stspi_claim.3.gz
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${entry_point_manuals}  # else gzip compresses what an earlier build left
    COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/man/generate_entry_point_manuals.py
      ${PROJECT_SOURCE_DIR}/include/stspi/stspi.h ${entry_point_manuals} ${PROJECT_VERSION}
    COMMAND ${GZIP} -9nfr ${entry_point_manuals}
    DEPENDS ${PROJECT_SOURCE_DIR}/man/generate_entry_point_manuals.py ${PROJECT_SOURCE_DIR}/include/stspi/stspi.h
    COMMENT "Manuals of the entry points" VERBATIM)
  add_custom_target(entry_point_manuals ALL DEPENDS ${entry_point_manuals}/stspi_claim.3.gz)
  install(DIRECTORY ${entry_point_manuals} DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT dev)
endif()

if(STSPI_INSTALL_STSIMAGE)
  install(TARGETS stsimage LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT stsimage)
  install_manual(${PROJECT_SOURCE_DIR}/man/libstsimage.3 stsimage)
  install(TARGETS stsimage_probe RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT stsimage)
  install_manual(${PROJECT_SOURCE_DIR}/man/stsimage-probe.1 stsimage)
  foreach(engine rados s3)
    if(TARGET stsimage_${engine})
      install(TARGETS stsimage_${engine} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/stsimage COMPONENT ${engine})
    endif()
  endforeach()
endif()
