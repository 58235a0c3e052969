# Installs the library: its header, both kinds of it, and what pkg-config and find_package(Polar) read;
# and the headers that a host's author includes, below include/polar.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

# All but the shared library serves development.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)

install(TARGETS polar_shared polar_static EXPORT PolarTargets
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT library
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library NAMELINK_COMPONENT development
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
install(FILES "${PROJECT_SOURCE_DIR}/library/polar.h" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/host"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/polar" FILES_MATCHING PATTERN *.h)
install(FILES "${PROJECT_SOURCE_DIR}/pixels/QzBitmap.h" "${PROJECT_SOURCE_DIR}/pixels/QzTypes.h"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/polar/pixels")

set(folder "${CMAKE_INSTALL_LIBDIR}/cmake/Polar")
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/PolarConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/PolarConfig.cmake" INSTALL_DESTINATION "${folder}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/PolarConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
install(EXPORT PolarTargets NAMESPACE Polar:: DESTINATION "${folder}")
install(FILES "${PROJECT_BINARY_DIR}/PolarConfig.cmake" "${PROJECT_BINARY_DIR}/PolarConfigVersion.cmake"
    DESTINATION "${folder}")

# The prefix is known only when it is installed, so polar.pc counts from its own folder.
string(REGEX REPLACE "[^/]+" ".." POLAR_PREFIX_OF_PC "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
configure_file("${CMAKE_CURRENT_LIST_DIR}/polar.pc.in" "${PROJECT_BINARY_DIR}/polar.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/polar.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME polar)
