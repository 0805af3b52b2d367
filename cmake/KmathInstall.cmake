include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS kmath EXPORT KmathTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/math include/kcls
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(KMATH_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Kmath)
install(EXPORT KmathTargets NAMESPACE kmath:: DESTINATION ${KMATH_CMAKE_DIR})
configure_package_config_file(cmake/KmathConfig.cmake.in
  ${PROJECT_BINARY_DIR}/KmathConfig.cmake
  INSTALL_DESTINATION ${KMATH_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KmathConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/KmathConfig.cmake
  ${PROJECT_BINARY_DIR}/KmathConfigVersion.cmake
  DESTINATION ${KMATH_CMAKE_DIR})

set(KMATH_PC_CFLAGS "")
if(NOT BUILD_SHARED_LIBS)
  set(KMATH_PC_CFLAGS "-DKMATH_STATIC")
endif()
configure_file(cmake/kmath.pc.in ${PROJECT_BINARY_DIR}/kmath.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kmath.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
