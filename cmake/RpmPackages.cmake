# What RPM packages need beside what Packages.cmake says of every package.
set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_RELEASE 1)
set(CPACK_RPM_PACKAGE_VENDOR "The stspi authors")
# As packaging/copyright says.
set(CPACK_RPM_PACKAGE_LICENSE "All rights reserved")
set(CPACK_RPM_CHANGELOG_FILE ${PROJECT_SOURCE_DIR}/packaging/rpm/changelog)

set(CPACK_RPM_DEV_PACKAGE_NAME libstspi-devel)
set(CPACK_RPM_DEV_PACKAGE_ARCHITECTURE noarch)
set(CPACK_RPM_DEV_PACKAGE_GROUP Development/Libraries)
set(CPACK_RPM_DOC_PACKAGE_ARCHITECTURE noarch)
set(CPACK_RPM_DOC_PACKAGE_GROUP Documentation)
# A framework brings its own image library, so no package is asked for.
set(CPACK_RPM_SPEC_MORE_DEFINE
  "%global __requires_exclude ^libstsimage\\\\.so\n%global packager ${CPACK_PACKAGE_CONTACT}")
set(CPACK_RPM_STSIMAGE_POST_INSTALL_SCRIPT_FILE ${PROJECT_SOURCE_DIR}/packaging/rpm/ldconfig)
set(CPACK_RPM_STSIMAGE_POST_UNINSTALL_SCRIPT_FILE ${PROJECT_SOURCE_DIR}/packaging/rpm/ldconfig)
# Directories that other packages own.
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
  /usr/share/man /usr/share/man/man1 /usr/share/man/man3 /usr/share/man/man5 /usr/share/pkgconfig /usr/share/cmake
  /usr/share/bash-completion /usr/share/bash-completion/completions)
