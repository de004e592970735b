# `cpack -G DEB` in the build tree makes three packages:
#   velmora            the game and the house ad server (components game, server);
#                      the game links the ad library's internals statically
#   libvelmoraads1     libVelmoraAds.so.1 (component library), named after its SONAME
#   libvelmoraads-dev  headers, CMake package and the unversioned link (component devel);
#                      with -DBUILD_SHARED_LIBS=OFF the static libraries instead, and no
#                      runtime package
set(CPACK_PACKAGE_NAME velmora)
set(CPACK_PACKAGE_VENDOR "Velmora")
set(CPACK_PACKAGE_CONTACT "Velmora developers <dev@velmora.example>")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://velmora.example")
set(CPACK_STRIP_FILES ON)

get_target_property(velmora_ads_type VelmoraAds TYPE)
set(CPACK_COMPONENTS_ALL game server devel)
if(velmora_ads_type STREQUAL SHARED_LIBRARY)
    list(APPEND CPACK_COMPONENTS_ALL library)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
find_program(DPKG_SHLIBDEPS dpkg-shlibdeps)
if(DPKG_SHLIBDEPS)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
else()
    # The web engine renders in a helper program (the -bin package); the
    # library's symbols file names it, and only dpkg-shlibdeps reads that.
    set(velmora_web_depends "libqt6core6, libqt6gui6, libqt6widgets6, libqt6network6, libqt6webenginecore6, \
libqt6webenginecore6-bin, libqt6webenginewidgets6, libssl3, libstdc++6")
endif()

# Every package carries the copyright and changelog Debian asks of it.
set(velmora_debian_dir ${CMAKE_CURRENT_LIST_DIR}/debian)
configure_file(${velmora_debian_dir}/changelog.in ${CMAKE_BINARY_DIR}/debian/changelog @ONLY)
execute_process(COMMAND gzip -9nc ${CMAKE_BINARY_DIR}/debian/changelog
    OUTPUT_FILE ${CMAKE_BINARY_DIR}/debian/changelog.gz COMMAND_ERROR_IS_FATAL ANY)
function(velmora_debian_docs component package)
    install(FILES ${velmora_debian_dir}/copyright ${CMAKE_BINARY_DIR}/debian/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endfunction()

# The game and its server.
set(CPACK_DEBIAN_VELMORA_PACKAGE_NAME velmora)
set(CPACK_DEBIAN_VELMORA_PACKAGE_SECTION games)
string(CONCAT CPACK_DEBIAN_VELMORA_DESCRIPTION
    "touch arcade game with its own house ad server\n"
    "Drag your ball around the field and dodge the yellow balls that bounce\n"
    "about it. Every screen carries a live banner from velmora-adserver, the\n"
    "small house ad server that comes with the game, so the whole ad chain\n"
    "runs on one machine.")
if(NOT DPKG_SHLIBDEPS)
    # The ad server's count databases and its readiness notification come along.
    set(CPACK_DEBIAN_VELMORA_PACKAGE_DEPENDS "${velmora_web_depends}, libsqlite3-0, libpq5, libsystemd0")
endif()
velmora_debian_docs(game velmora)

# The ad library at run time.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libvelmoraads1)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
# Only this package holds a shared library, so only it gets a shlibs file.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${velmora_debian_dir}/triggers)
string(CONCAT CPACK_DEBIAN_LIBRARY_DESCRIPTION
    "Velmora ad library\n"
    "Banner ads from an ad network in any Qt Widgets program: the banner view,\n"
    "its ad requests and the full-screen screens a tap on an ad opens.\n"
    "This package holds the shared library programs run with.")
if(NOT DPKG_SHLIBDEPS)
    set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "${velmora_web_depends}")
endif()
velmora_debian_docs(library libvelmoraads1)

# Building against the ad library.
set(CPACK_DEBIAN_DEVEL_PACKAGE_NAME libvelmoraads-dev)
set(CPACK_DEBIAN_DEVEL_PACKAGE_SECTION libdevel)
if(velmora_ads_type STREQUAL SHARED_LIBRARY)
    set(CPACK_DEBIAN_DEVEL_PACKAGE_DEPENDS "libvelmoraads1 (= ${PROJECT_VERSION}), qt6-base-dev (>= 6.4)")
else()
    set(CPACK_DEBIAN_DEVEL_PACKAGE_DEPENDS "qt6-base-dev (>= 6.4), qt6-webengine-dev (>= 6.4), libssl-dev (>= 3)")
endif()
string(CONCAT CPACK_DEBIAN_DEVEL_DESCRIPTION
    "Velmora ad library - development files\n"
    "Banner ads from an ad network in any Qt Widgets program: the banner view,\n"
    "its ad requests and the full-screen screens a tap on an ad opens.\n"
    "This package holds the headers and the CMake package VelmoraAds\n"
    "(find_package(VelmoraAds), target Velmora::Ads).")
velmora_debian_docs(devel libvelmoraads-dev)

include(CPack)
cpack_add_component(game GROUP velmora)
cpack_add_component(server GROUP velmora)
cpack_add_component(library)
cpack_add_component(devel)
