# Where an installation puts the programs' files, named once: the install rules and the programs' own idea
# of the installed layout (platform/paths) both take them from here, so the two cannot drift apart.
#
# The absolute forms are compiled into the programs, so the prefix is fixed when CMake configures: a
# package for Debian is configured with -DCMAKE_INSTALL_PREFIX=/usr, which also gives the multiarch library
# folder (lib/x86_64-linux-gnu). `cmake --install --prefix` elsewhere installs programs that do not see
# themselves as installed; they then look beside themselves, as in the build folder.
include(GNUInstallDirs)

# Relative to the prefix, for install(... DESTINATION ...).
set(MSR_INSTALL_BINDIR ${CMAKE_INSTALL_BINDIR})
# Trakset.ini, AliasName.ini, Skin/ (catalogue and definition files), Default/, icons/.
set(MSR_INSTALL_DATADIR ${CMAKE_INSTALL_DATADIR}/msrcfg)
# The skin libraries (Skin/*.so): code, so under the architecture's library folder.
set(MSR_INSTALL_SKINDIR ${CMAKE_INSTALL_LIBDIR}/msrcfg/Skin)

# The same as the installed programs see them.
set(MSR_INSTALL_FULL_BINDIR ${CMAKE_INSTALL_FULL_BINDIR})
set(MSR_INSTALL_FULL_DATADIR ${CMAKE_INSTALL_FULL_DATADIR}/msrcfg)
set(MSR_INSTALL_FULL_SKINDIR ${CMAKE_INSTALL_FULL_LIBDIR}/msrcfg/Skin)
