# Installs the ad library as the CMake package VelmoraAds:
#   find_package(VelmoraAds CONFIG REQUIRED)
#   target_link_libraries(app PRIVATE Velmora::Ads)
# Shared (the default), the library is component `library` and everything a
# build needs (headers, CMake files, the unversioned link) is `devel`. Static,
# the platform libraries it links come along in `devel`, and the package finds
# Qt's web engine and OpenSSL for the program that uses it.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(VELMORA_ADS_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/VelmoraAds)

if(ADS_LIBRARY_TYPE STREQUAL SHARED_LIBRARY)
    set(VELMORA_ADS_SHARED ON)
    install(TARGETS VelmoraAds EXPORT VelmoraAdsTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT devel)
else()
    set(VELMORA_ADS_SHARED OFF)
    foreach(target PlatformFoundation PlatformNetworking PlatformScreens PlatformWeb)
        target_include_directories(${target} INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    endforeach()
    install(TARGETS VelmoraAds PlatformFoundation PlatformNetworking PlatformScreens PlatformWeb
        EXPORT VelmoraAdsTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT devel)
endif()
# The QML module Velmora.Ads where Qt looks for QML modules (with the
# library's own prefix): the plugin and its qmldir run programs, the type
# information serves the tools.
if(VELMORA_ADS_SHARED)
    set(VELMORA_ADS_QML_DIR ${CMAKE_INSTALL_LIBDIR}/qt6/qml/Velmora/Ads)
    install(TARGETS VelmoraAdsQml LIBRARY DESTINATION ${VELMORA_ADS_QML_DIR} COMPONENT library)
    install(FILES ${PROJECT_BINARY_DIR}/qml/Velmora/Ads/qmldir DESTINATION ${VELMORA_ADS_QML_DIR} COMPONENT library)
    install(FILES ${PROJECT_BINARY_DIR}/qml/Velmora/Ads/VelmoraAdsQml.qmltypes
        DESTINATION ${VELMORA_ADS_QML_DIR} COMPONENT devel)
endif()
install(FILES ${PROJECT_SOURCE_DIR}/ads/Quick/VelmoraAdsLink.cpp
    DESTINATION ${CMAKE_INSTALL_DATADIR}/VelmoraAds COMPONENT devel)
# One folder: the platform headers sit beside the library's, where the
# library's public headers find them.
install(FILES ${ADS_PUBLIC_HEADERS} ${ADS_EXPORT_HEADER}
              ${VELMORA_PLATFORM_PUBLIC_HEADERS}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/VelmoraAds COMPONENT devel)
install(EXPORT VelmoraAdsTargets NAMESPACE Velmora::
    DESTINATION ${VELMORA_ADS_CMAKE_DIR} COMPONENT devel)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VelmoraAdsConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/VelmoraAdsConfig.cmake
    INSTALL_DESTINATION ${VELMORA_ADS_CMAKE_DIR})
# 1.x programs keep running on any later 1.y; the ABI baseline holds the
# library to that.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/VelmoraAdsConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VelmoraAdsConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/VelmoraAdsConfigVersion.cmake
    DESTINATION ${VELMORA_ADS_CMAKE_DIR} COMPONENT devel)
