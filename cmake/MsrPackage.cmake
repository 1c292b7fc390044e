# The Debian package, made by CPack from the install rules (scripts/package.sh drives it). CPack rather
# than a debian/ folder: the version, the file list and the destinations stay in this CMake build, where
# the programs take them from too, and a package comes from one cpack run without a second build system.
#
# The programs know their installed folders from the configured prefix (cmake/MsrInstallDirs.cmake), so
# the package goes to that same prefix: configure with -DCMAKE_INSTALL_PREFIX=/usr for a package.

# Who answers for the package; the changelog and the control file both name them.
set(MSR_PACKAGE_MAINTAINER "msrcfg maintainers <maintainers@users.noreply.c-seed-2a541b40.example>")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME msrcfg)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${MSR_PACKAGE_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "configuration utility for magnetic-stripe card readers")
# Lines of at most 80 characters: package managers show the description as it stands.
set(CPACK_PACKAGE_DESCRIPTION
    "msrcfg finds a magnetic-stripe card reader on a serial port or behind a USB
HID bridge, reads its configuration registers, shows them on tabbed pages and
writes changes back. Its console batch mode writes a register file into a
reader without a display and reports an exit code for production scripts.

The package also holds msrsim, a reader emulator for training and tests
without hardware, and a udev rule that gives the user at the machine access
to the HID bridges.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# dpkg-shlibdeps finds the libraries the programs link. It cannot see what Qt loads at run time: the
# platform plugin that opens the window (xcb), the SVG plugins that draw the window's icon, nor the udev
# daemon that applies the rule.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins, libqt6svg6, udev")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Directories as dpkg expects them whatever the umask of the person building.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
include(CPack)
