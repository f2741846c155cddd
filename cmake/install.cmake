# Installs the library, its one header, and the files by which CMake and pkg-config find it.
include(CMakePackageConfigHelpers)

install(TARGETS zemt EXPORT zemt
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT zemt NAMESPACE zemt:: FILE zemt-config.cmake DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zemt)

write_basic_package_version_file(zemt-config-version.cmake COMPATIBILITY SameMajorVersion)
configure_file(cmake/zemt.pc.in zemt.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zemt-config-version.cmake DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zemt)
install(FILES ${PROJECT_BINARY_DIR}/zemt.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
