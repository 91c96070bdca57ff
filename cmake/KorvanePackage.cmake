# Installs what plug-ins and hosts build against: the public headers, the CMake
# package (find_package(Korvane): Korvane::Core and korvane_add_plugin) and korvane.pc,
# plus the empty plug-in and data directories of the layout. The library itself is
# installed by src/CMakeLists.txt into the export set KorvaneTargets.
include(CMakePackageConfigHelpers)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/korvane
  DESTINATION ${KORVANE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(DIRECTORY DESTINATION ${KORVANE_INSTALL_PLUGINDIR})
install(DIRECTORY DESTINATION ${KORVANE_INSTALL_DATADIR})

install(EXPORT KorvaneTargets NAMESPACE Korvane:: FILE KorvaneTargets.cmake
  DESTINATION ${KORVANE_INSTALL_CMAKEDIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/KorvaneConfig.cmake.in
  ${CMAKE_BINARY_DIR}/package/KorvaneConfig.cmake
  INSTALL_DESTINATION ${KORVANE_INSTALL_CMAKEDIR}
  PATH_VARS KORVANE_INSTALL_PLUGINDIR KORVANE_INSTALL_DATADIR)
# Any 1.x request is answered by this 1.4.2 package; the plug-in loader checks the rest.
write_basic_package_version_file(${CMAKE_BINARY_DIR}/package/KorvaneConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_BINARY_DIR}/package/KorvaneConfig.cmake
  ${CMAKE_BINARY_DIR}/package/KorvaneConfigVersion.cmake
  ${CMAKE_CURRENT_LIST_DIR}/KorvanePlugin.cmake
  DESTINATION ${KORVANE_INSTALL_CMAKEDIR})

configure_file(${CMAKE_CURRENT_LIST_DIR}/korvane.pc.in ${CMAKE_BINARY_DIR}/package/korvane.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/package/korvane.pc
  DESTINATION ${KORVANE_INSTALL_LIBDIR}/pkgconfig)
