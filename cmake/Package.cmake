# The Debian package: what is installed, below /usr. tools/package makes it.
gzipped(cmake/debian/changelog)
install(FILES cmake/debian/copyright ${PROJECT_BINARY_DIR}/changelog.gz DESTINATION ${CMAKE_INSTALL_DOCDIR}
        COMPONENT module OPTIONAL)

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
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
# What hosts are compiled with; the module and the tool run without.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libeigen3-dev (>= 3.4)")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "A module that a motion framework loads, the header to compile against, a\nlibrary for many states at once, and a tool that runs motions through it,\nshows them, and holds any module to what the interface promises.")
include(CPack)
