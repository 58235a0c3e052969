# `cpack` in the build folder makes a Debian package that depends on the libraries it was built with.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The Polar developers <polar@localhost>")
set(CPACK_PACKAGE_VENDOR "The Polar developers")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The libraries of its own that the executable and the module link.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${POLAR_STAGE_DIR}/${POLAR_HOST_DIR}")
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "Two image effects that bend pictures between polar and rectangular, as a plug-in for compositing
hosts, and a command line that applies them to picture files and sequences.")
# Below /usr the layout gets a folder of its own.
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/moveLayout.cmake")
install(FILES LICENSE DESTINATION share/doc/polar RENAME copyright)
include(CPack)
