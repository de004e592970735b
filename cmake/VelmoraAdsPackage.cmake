# Installs the ad library as the CMake package VelmoraAds:
#   find_package(VelmoraAds CONFIG REQUIRED)
#   target_link_libraries(app PRIVATE Velmora::Ads)
# The library is static, so the platform libraries it links come along, and
# the package finds Qt and OpenSSL for the program that uses it.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(VELMORA_ADS_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/VelmoraAds)

foreach(target PlatformFoundation PlatformNetworking PlatformScreens PlatformWeb)
    target_include_directories(${target} INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endforeach()

install(TARGETS Ads PlatformFoundation PlatformNetworking PlatformScreens PlatformWeb
    EXPORT VelmoraAdsTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT devel)
# One folder: the platform headers sit beside the library's, where the
# library's public headers find them.
install(FILES ${ADS_PUBLIC_HEADERS} ${VELMORA_PLATFORM_PUBLIC_HEADERS}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/VelmoraAds COMPONENT devel)
install(EXPORT VelmoraAdsTargets NAMESPACE Velmora::
    DESTINATION ${VELMORA_ADS_CMAKE_DIR} COMPONENT devel)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VelmoraAdsConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/VelmoraAdsConfig.cmake
    INSTALL_DESTINATION ${VELMORA_ADS_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/VelmoraAdsConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VelmoraAdsConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/VelmoraAdsConfigVersion.cmake
    DESTINATION ${VELMORA_ADS_CMAKE_DIR} COMPONENT devel)
