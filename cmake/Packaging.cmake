# `cpack -G DEB` in the build tree: one package with the game and the house ad
# server (the runtime components), none of the library's development files.
set(CPACK_PACKAGE_NAME velmora)
set(CPACK_PACKAGE_VENDOR "Velmora")
set(CPACK_PACKAGE_CONTACT "Velmora developers <dev@velmora.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "touch arcade game with its own house ad server")
string(CONCAT CPACK_PACKAGE_DESCRIPTION
    "Drag your ball around the field and dodge the yellow balls that bounce about it.\n"
    "Every screen carries a live banner from velmora-adserver, the small house ad server\n"
    "that comes with the game, so the whole ad chain runs on one machine.")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://velmora.example")
set(CPACK_STRIP_FILES ON)

set(CPACK_COMPONENTS_ALL game server)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION games)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
find_program(DPKG_SHLIBDEPS dpkg-shlibdeps)
if(DPKG_SHLIBDEPS)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
else()
    # The web engine renders in a helper program (the -bin package); the
    # library's symbols file names it, and only dpkg-shlibdeps reads that.
    set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt6core6, libqt6gui6, libqt6widgets6, libqt6network6, libqt6webenginecore6, \
libqt6webenginecore6-bin, libqt6webenginewidgets6, libssl3, libsqlite3-0, libstdc++6")
    # The ad server's count database client and its readiness notification.
    string(APPEND CPACK_DEBIAN_PACKAGE_DEPENDS ", libpq5, libsystemd0")
endif()

include(CPack)
