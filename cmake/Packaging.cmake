# Packages for people who do not build: a .deb and a .tar.gz of the native tree's install
# rules (installscript, and the Windows programs of ISE_WINDOWS_BUILD_DIR).
set(CPACK_PACKAGE_NAME installscript)
set(CPACK_PACKAGE_VENDOR "The install script evaluator project")
set(CPACK_PACKAGE_CONTACT "installscript maintainers <maintainers@installscript.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Check install scripts and apply them to Wine prefixes")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_GENERATOR "DEB;TGZ")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION otherosfs)
# The Windows programs run under Wine; installscript itself needs only the C++ runtime.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "wine64 | wine, libc6, libstdc++6")
set(CPACK_PACKAGE_FILE_NAME installscript_${PROJECT_VERSION}_amd64)
set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY OFF)
include(CPack)
