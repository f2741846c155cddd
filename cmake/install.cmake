# Installs the libraries, the header, the manual, and the files by which CMake and pkg-config find them from where they are, so
# that a prefix can be moved.
include(CMakePackageConfigHelpers)

set(libraries zemt_static)
if(BUILD_SHARED_LIBS)
  list(APPEND libraries zemt)
endif()
install(TARGETS ${libraries} EXPORT zemt
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES include/zemt.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES LICENSE docs/compatibility.md DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/zemt)
install(EXPORT zemt NAMESPACE zemt:: FILE zemt-targets.cmake DESTINATION ${package_directory})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zemt-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES cmake/zemt-config.cmake ${PROJECT_BINARY_DIR}/zemt-config-version.cmake DESTINATION ${package_directory})

# zemt.pc says where it is itself; only folders that do not move with the prefix are named.
set(pc_libdir "\${pcfiledir}/..")
file(RELATIVE_PATH pc_includedir ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR})
set(pc_includedir "\${pcfiledir}/${pc_includedir}")
if(IS_ABSOLUTE ${CMAKE_INSTALL_INCLUDEDIR} OR IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  set(pc_includedir ${CMAKE_INSTALL_FULL_INCLUDEDIR})
endif()
configure_file(cmake/zemt.pc.in ${PROJECT_BINARY_DIR}/zemt.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zemt.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The manual pages are the header's comments.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS docs/manual.awk)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/man/man3 ${PROJECT_BINARY_DIR}/man/man7)
execute_process(
  COMMAND awk -v folder=${PROJECT_BINARY_DIR}/man -v version=${PROJECT_VERSION} -f ${PROJECT_SOURCE_DIR}/docs/manual.awk
          ${PROJECT_SOURCE_DIR}/include/zemt.h
  RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "awk has not made the manual pages: ${status}")
endif()
install(DIRECTORY ${PROJECT_BINARY_DIR}/man/ DESTINATION ${CMAKE_INSTALL_MANDIR})
