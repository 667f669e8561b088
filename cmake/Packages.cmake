# Packages, one for each install component: Debian's with `cpack --preset package`, RPM packages with `cpack --preset rpm`.
set(CPACK_GENERATOR DEB CACHE STRING "Kind of packages: DEB or RPM")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The stspi authors <stspi@example.org>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# CPack would put the project's one line in front of each package's own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")

function(describe_package component name section summary text)
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
  set(documents ${CMAKE_INSTALL_DATADIR}/doc/${name})
  install(FILES packaging/copyright DESTINATION ${documents} COMPONENT ${component})
  install(FILES ${CMAKE_BINARY_DIR}/changelog.gz DESTINATION ${documents} COMPONENT ${component})
  set(CPACK_RPM_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
  string(SUBSTRING ${summary} 0 1 initial)
  string(SUBSTRING ${summary} 1 -1 rest)
  string(TOUPPER ${initial} initial)
  set(CPACK_RPM_${key}_PACKAGE_SUMMARY ${initial}${rest} PARENT_SCOPE)
  set(CPACK_RPM_${key}_PACKAGE_DESCRIPTION ${text} PARENT_SCOPE)
  if(CPACK_GENERATOR STREQUAL "DEB" AND EXISTS ${PROJECT_SOURCE_DIR}/packaging/lintian/${name})
    install(FILES packaging/lintian/${name} DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT ${component})
  endif()
endfunction()

add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/changelog.gz
  COMMAND ${GZIP} -9nc ${PROJECT_SOURCE_DIR}/packaging/changelog > ${CMAKE_BINARY_DIR}/changelog.gz
  DEPENDS ${PROJECT_SOURCE_DIR}/packaging/changelog VERBATIM)
add_custom_target(changelog ALL DEPENDS ${CMAKE_BINARY_DIR}/changelog.gz)

describe_package(plugin stspi-kelvarpool misc "simulated storage servers for a disk-storage plug-in interface"
  "A plug-in that simulates a disk array and a Copan array from text files, so\n\
that a backup framework's disk-storage paths can be exercised without\n\
hardware.")
describe_package(tools stspi-tools misc "host program and conformance suite for storage plug-ins"
  "simhost loads a storage-server plug-in and drives it from the command line;\nstspi-conformance judges whether one behaves.")
describe_package(dev libstspi-dev libdevel "headers of the storage-server plug-in interface"
  "The C headers of the interface, with a manual page for every entry point, a\npkg-config file and a CMake package.")
describe_package(doc stspi-doc doc "documentation of the simulated storage servers and their tools"
  "A tutorial, the format of the files that describe servers, what simhost's\n\
checker finds, the life of a plug-in, every entry point and status, the image\n\
library and the conformance suite.")
describe_package(stsimage libstsimage-substitute libs "substitute for the image library of storage plug-ins"
  "Keeps backup images as files. Install it only where the real image library is\nnot: it has the same name.")

if(TARGET stsimage_rados)
  describe_package(rados libstsimage-substitute-rados libs "images of the substitute image library in a Ceph cluster"
    "Lets the substitute image library keep backup images in a pool of a Ceph\n\
cluster, which many machines share, instead of files.")
endif()
if(TARGET stsimage_s3)
  describe_package(s3 libstsimage-substitute-s3 libs "images of the substitute image library in S3"
    "Lets the substitute image library keep backup images in a bucket of a\n\
service that speaks S3, which many machines share, instead of files.")
endif()
foreach(engine rados s3)
  if(TARGET stsimage_${engine})
    string(TOUPPER ${engine} key)
    set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "libstsimage-substitute (= ${PROJECT_VERSION})")
    set(CPACK_RPM_${key}_PACKAGE_REQUIRES "libstsimage-substitute = ${PROJECT_VERSION}")
    list(APPEND engine_packages libstsimage-substitute-${engine})
    list(APPEND engine_components ${engine})
  endif()
endforeach()
if(engine_packages)
  list(JOIN engine_packages ", " CPACK_DEBIAN_STSIMAGE_PACKAGE_SUGGESTS)
endif()

set(CPACK_DEBIAN_STSIMAGE_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_DEBIAN_PLUGIN_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/postinst)
foreach(component DEV DOC)
  set(CPACK_DEBIAN_${component}_PACKAGE_ARCHITECTURE all)
  set(CPACK_DEBIAN_${component}_PACKAGE_SHLIBDEPS OFF)
endforeach()
set(CPACK_DEBIAN_PLUGIN_PACKAGE_RECOMMENDS stspi-tools)
# Suggested, not recommended: beside a framework it would stand where the real image library is looked for.
set(CPACK_DEBIAN_PLUGIN_PACKAGE_SUGGESTS "libstsimage-substitute, stspi-doc")
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS stspi-kelvarpool)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "libstsimage-substitute, stspi-doc")

include(cmake/RpmPackages.cmake)

set(CPACK_COMPONENTS_ALL plugin tools dev doc)
if(STSPI_INSTALL_STSIMAGE)
  list(APPEND CPACK_COMPONENTS_ALL stsimage ${engine_components})
endif()
include(CPack)
