# The Debian packages: what is installed, below /usr. `python3-korvel` is the component of its own, `korvel` all others.
# tools/package makes them.
gzipped(cmake/debian/changelog)
install(FILES cmake/debian/copyright ${PROJECT_BINARY_DIR}/changelog.gz DESTINATION ${CMAKE_INSTALL_DOCDIR}
        COMPONENT module OPTIONAL)
install(FILES cmake/debian/copyright ${PROJECT_BINARY_DIR}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/python3-korvel COMPONENT python OPTIONAL)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME korvel)
set(CPACK_PACKAGE_VENDOR korvel)
set(CPACK_PACKAGE_CONTACT "korvel maintainers <maintainers@korvel.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
                                                WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
# Whoever packs says what to build.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEB_COMPONENT_INSTALL ON)

set(CPACK_DEBIAN_KORVEL_PACKAGE_NAME korvel)
set(CPACK_DEBIAN_KORVEL_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_KORVEL_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
# What hosts are compiled with; the module and the tool run without.
set(CPACK_DEBIAN_KORVEL_PACKAGE_RECOMMENDS "libeigen3-dev (>= 3.4)")
set(CPACK_DEBIAN_KORVEL_DESCRIPTION
    "A module that a motion framework loads, the header to compile against,\nlibraries for many states and for motion files, and a tool that runs motions\nthrough the module, shows them, and holds any module to what the interface\npromises.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-korvel)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.9), python3-numpy, korvel (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS python3-pandas)
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/python/postinst
                                              ${PROJECT_SOURCE_DIR}/cmake/debian/python/prerm)
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PYTHON_DESCRIPTION
    "Kinematics, mass matrices and inverse dynamics of many states of the robot\nat once, from and to arrays of numpy, and motion files as such arrays.")

include(CPack)
cpack_add_component_group(korvel)
foreach(component module batch development tool)
  cpack_add_component(${component} GROUP korvel)
endforeach()
cpack_add_component_group(python)
cpack_add_component(python GROUP python)
