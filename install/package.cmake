# The Debian package.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vardo)
set(CPACK_PACKAGE_VENDOR "Quillstone")
set(CPACK_PACKAGE_CONTACT "Vardo maintainers <vardo@quillstone.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "desktop anti-virus")
set(CPACK_PACKAGE_DESCRIPTION
"Scans processes, home directories, chosen files or the whole computer from one
window, and quarantines, renames or deletes what it finds. The signatures are
loaded once and shared by every scan; files are parsed by processes of their
own, so that a malformed file costs itself only.")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "${VARDO_WEB}/")
set(CPACK_DEBIAN_PACKAGE_DEPENDS "adduser, ca-certificates, cron | cron-daemon, fonts-dejavu-core")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "dbus, logrotate, xdg-utils")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "python3-caja, python3-nautilus")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${VARDO_LIB_DIR})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/conffiles
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/preinst
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/postinst
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/prerm
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/postrm)
include(CPack)
