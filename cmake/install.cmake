# cmake --install: the library, its header, find_package(Tarvo), pkg-config, the licence and the pages.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Tarvo)
install(TARGETS ${TARVO_LIBRARIES} EXPORT TarvoTargets)
install(FILES ${PROJECT_SOURCE_DIR}/include/tarvo.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT TarvoTargets NAMESPACE Tarvo:: DESTINATION ${package_folder})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/TarvoConfig.cmake.in
  ${PROJECT_BINARY_DIR}/TarvoConfig.cmake INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TarvoConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/TarvoConfig.cmake ${PROJECT_BINARY_DIR}/TarvoConfigVersion.cmake
  DESTINATION ${package_folder})

# The prefix is found from where tarvo.pc lies, so that an installed tree can be moved.
file(RELATIVE_PATH prefix_from_pkgconfig /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${PROJECT_SOURCE_DIR}/cmake/tarvo.pc.in ${PROJECT_BINARY_DIR}/tarvo.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tarvo.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
  FILES_MATCHING PATTERN "*.net" PATTERN "*.case" PATTERN "hosts" EXCLUDE)
