# What a host needs: headers, module, a CMake package and a pkg-config file; and the reference host with what it reads.
set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/korvel)
set(header_directory ${CMAKE_INSTALL_INCLUDEDIR}/korvel)

foreach(header plugin/rigid_body_system.h qzmath/qzmath.h)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${header_directory}/${folder})
endforeach()
set_target_properties(korvel_interface PROPERTIES EXPORT_NAME interface)
set_target_properties(korvel PROPERTIES EXPORT_NAME module)
install(
  TARGETS korvel_interface korvel qzmath
  EXPORT korvel
  LIBRARY DESTINATION ${KORVEL_MODULE_DIRECTORY}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${header_directory})
install(EXPORT korvel NAMESPACE korvel:: DESTINATION ${package_directory} FILE korvel-targets.cmake)

include(CMakePackageConfigHelpers)
set(KORVEL_MODULE_FILE ${KORVEL_MODULE_DIRECTORY}/libkorvel.so)
configure_package_config_file(cmake/korvel-config.cmake.in korvel-config.cmake
                              INSTALL_DESTINATION ${package_directory} PATH_VARS KORVEL_MODULE_FILE)
# Below 1.0 each minor version may change the contract.
write_basic_package_version_file(korvel-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/korvel-config.cmake ${PROJECT_BINARY_DIR}/korvel-config-version.cmake
        DESTINATION ${package_directory})

# The prefix may move: the file finds it from where it stands.
file(RELATIVE_PATH KORVEL_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/korvel.pc.in korvel.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/korvel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(TARGET korvel-host)
  install(TARGETS korvel-host)
  # Built where node is installed.
  install(FILES ${PROJECT_BINARY_DIR}/report.html DESTINATION ${CMAKE_INSTALL_DATADIR}/korvel OPTIONAL)
  install(DIRECTORY motions DESTINATION ${CMAKE_INSTALL_DATADIR}/korvel FILES_MATCHING PATTERN "*.csv")
endif()
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.png")
install(FILES README.md ARCHITECTURE.md CHANGELOG.md CONTRIBUTING.md PERFORMANCE.md RELIABILITY.md
              examples/minimal_host.cpp DESTINATION ${CMAKE_INSTALL_DOCDIR})
