# What a host needs: headers, module, a CMake package and a pkg-config file; and the reference host with what it reads.
# Components: `module`, what flies; `batch`, the library for many states, and that for motions; `development`, what hosts
# are compiled against and read; `tool`, the reference host; `python`, the package over both libraries.
set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/korvel)
set(header_directory ${CMAKE_INSTALL_INCLUDEDIR}/korvel)

foreach(header plugin/rigid_body_system.h qzmath/qzmath.h)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES module/${header} DESTINATION ${header_directory}/${folder} COMPONENT development)
endforeach()
set_target_properties(korvel_interface PROPERTIES EXPORT_NAME interface)
set_target_properties(korvel PROPERTIES EXPORT_NAME module)
install(
  TARGETS korvel_interface korvel qzmath
  EXPORT korvel
  LIBRARY DESTINATION ${KORVEL_MODULE_DIRECTORY} COMPONENT module
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  INCLUDES DESTINATION ${header_directory})
if(TARGET korvel_record)
  install(TARGETS korvel_record LIBRARY DESTINATION ${KORVEL_MODULE_DIRECTORY} COMPONENT module)
endif()
# Libraries of C as others are: by their names, their headers as korvel/NAME.h.
foreach(name batch motion)
  if(NOT TARGET korvel::${name})
    continue()
  endif()
  get_target_property(target korvel::${name} ALIASED_TARGET)
  install(
    TARGETS ${target}
    EXPORT korvel
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT batch NAMELINK_COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(DIRECTORY libraries/${name}/korvel/ DESTINATION ${header_directory} COMPONENT development
          FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")
endforeach()
install(EXPORT korvel NAMESPACE korvel:: DESTINATION ${package_directory} FILE korvel-targets.cmake COMPONENT development)

include(CMakePackageConfigHelpers)
set(KORVEL_MODULE_FILE ${KORVEL_MODULE_DIRECTORY}/libkorvel.so)
configure_package_config_file(cmake/korvel-config.cmake.in ${PROJECT_BINARY_DIR}/korvel-config.cmake
                              INSTALL_DESTINATION ${package_directory} PATH_VARS KORVEL_MODULE_FILE)
# Below 1.0 each minor version may change the contract.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/korvel-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/korvel-config.cmake ${PROJECT_BINARY_DIR}/korvel-config-version.cmake
        DESTINATION ${package_directory} COMPONENT development)

# pkg-config knows the Eigen of the system by its name, another one is named by its place.
set(KORVEL_EIGEN_REQUIRES "eigen3 >= 3.4")
set(KORVEL_EIGEN_CFLAGS)
get_target_property(eigen_directory Eigen3::Eigen INTERFACE_INCLUDE_DIRECTORIES)
if(eigen_directory MATCHES "^/" AND NOT eigen_directory MATCHES "^/usr/include/")
  set(KORVEL_EIGEN_REQUIRES)
  string(REPLACE " " "\\ " KORVEL_EIGEN_CFLAGS "-I${eigen_directory}")
endif()
# The prefix may move: the file finds it from where it stands.
file(RELATIVE_PATH KORVEL_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/korvel.pc.in korvel.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/korvel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
set(KORVEL_LIBRARY_DESCRIPTION_batch "Kinematics and dynamics of many states of the robot at once")
set(KORVEL_LIBRARY_DESCRIPTION_motion "Motion files as states of the robot")
foreach(KORVEL_LIBRARY batch motion)
  if(TARGET korvel::${KORVEL_LIBRARY})
    set(KORVEL_LIBRARY_DESCRIPTION ${KORVEL_LIBRARY_DESCRIPTION_${KORVEL_LIBRARY}})
    configure_file(cmake/korvel-library.pc.in korvel-${KORVEL_LIBRARY}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/korvel-${KORVEL_LIBRARY}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
            COMPONENT development)
  endif()
endforeach()

if(TARGET korvel::batch AND TARGET korvel::motion)
  set(KORVEL_PYTHON_DIRECTORY lib/python3/dist-packages CACHE STRING "Where the Python package is installed, in the prefix")
  install(DIRECTORY libraries/python/korvel DESTINATION ${KORVEL_PYTHON_DIRECTORY} COMPONENT python
          FILES_MATCHING PATTERN "*.py" PATTERN "py.typed" PATTERN "__pycache__" EXCLUDE)
  # The package finds the libraries of its prefix from where it stands.
  file(RELATIVE_PATH library_path ${CMAKE_INSTALL_PREFIX}/${KORVEL_PYTHON_DIRECTORY}/korvel ${CMAKE_INSTALL_FULL_LIBDIR})
  file(WRITE ${PROJECT_BINARY_DIR}/library_path ${library_path})
  install(FILES ${PROJECT_BINARY_DIR}/library_path DESTINATION ${KORVEL_PYTHON_DIRECTORY}/korvel COMPONENT python)
endif()

# The file with the version in it, compressed, in the build directory.
function(gzipped file)
  get_filename_component(name ${file} NAME)
  find_program(GZIP_EXECUTABLE gzip)
  mark_as_advanced(GZIP_EXECUTABLE)
  configure_file(${file} ${PROJECT_BINARY_DIR}/${name} @ONLY)
  if(GZIP_EXECUTABLE)
    execute_process(COMMAND ${GZIP_EXECUTABLE} -9nc ${PROJECT_BINARY_DIR}/${name}
                    OUTPUT_FILE ${PROJECT_BINARY_DIR}/${name}.gz COMMAND_ERROR_IS_FATAL ANY)
  endif()
endfunction()

if(TARGET korvel-host)
  install(TARGETS korvel-host COMPONENT tool)
  gzipped(docs/korvel-host.1)
  install(FILES ${PROJECT_BINARY_DIR}/korvel-host.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool OPTIONAL)
  install(FILES host/cli/completion.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          RENAME korvel-host COMPONENT tool)
  # Built where node is installed.
  install(FILES ${PROJECT_BINARY_DIR}/report.html DESTINATION ${CMAKE_INSTALL_DATADIR}/korvel COMPONENT tool OPTIONAL)
  install(DIRECTORY examples/motions DESTINATION ${CMAKE_INSTALL_DATADIR}/korvel COMPONENT tool FILES_MATCHING PATTERN "*.csv")
  install(FILES examples/limits.csv DESTINATION ${CMAKE_INSTALL_DATADIR}/korvel COMPONENT tool)
endif()
# The documents refer to each other as they do in the source.
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development
        FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.png")
install(FILES README.md ARCHITECTURE.md CHANGELOG.md CONTRIBUTING.md PERFORMANCE.md RELIABILITY.md
        DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(FILES examples/minimal_host.cpp examples/falling_host.cpp examples/fall.rec examples/controller_quantities.h examples/many_states.cpp examples/cluster.py examples/optimise_squat.py
              examples/smooth_motion.py examples/tumble.py
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development)
install(DIRECTORY examples/mcap DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development
        FILES_MATCHING PATTERN "*.mjs" PATTERN "*.json")
set(header plugin/rigid_body_system.h)
file(RELATIVE_PATH installed_header /${CMAKE_INSTALL_DOCDIR}/module/plugin /${header_directory}/${header})
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/documents)
file(CREATE_LINK ${installed_header} ${PROJECT_BINARY_DIR}/documents/rigid_body_system.h SYMBOLIC)
install(FILES ${PROJECT_BINARY_DIR}/documents/rigid_body_system.h DESTINATION ${CMAKE_INSTALL_DOCDIR}/module/plugin
        COMPONENT development)
