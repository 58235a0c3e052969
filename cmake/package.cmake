# `cpack` in the build folder makes Debian packages, one for each component that is installed, which
# depend on the libraries that they were built with and need none of the others but for development.
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PACKAGE_CONTACT "The Polar developers <developers@polar.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGE_VENDOR "The Polar developers")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The libraries of its own that the executable and the module link.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${POLAR_STAGE_DIR}/${POLAR_HOST_DIR}")

# A package of what is installed as `component`, if anything is: its name, its section, and its
# description, of which the summary is the first line.
get_cmake_property(components COMPONENTS)
set(CPACK_COMPONENTS_ALL)
macro(add_package component name section summary text)
    if("${component}" IN_LIST components)
        list(APPEND CPACK_COMPONENTS_ALL ${component})
        string(TOUPPER "${component}" upper)
        set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
        set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
        set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${text}")
    endif()
endmacro()
add_package(polar polar graphics "bend pictures between polar and rectangular (command line)"
    "Commands that make panoramas of round pictures and round pictures of
panoramas, of files and sequences, exactly and on all processors. With it comes
a plug-in for compositing hosts.")
add_package(library libpolar1 libs "bend pictures between polar and rectangular (library)"
    "A library with a C interface that makes panoramas of round pictures and round
pictures of panoramas in memory, exactly and on all processors.")
add_package(development libpolar-dev libdevel
    "bend pictures between polar and rectangular (development files)"
    "The header of libpolar, the library for static linking, and what pkg-config and
CMake want to know of it; with the headers of the host interface of its plug-in.")
add_package(openfx polar-openfx video "polar and rectangular effects for hosts of OpenFX"
    "Two effects, Polar to Rectangular and Rectangular to Polar, in one bundle for
every host of OpenFX, such as video editors and compositors.")
add_package(frei0r polar-frei0r video "polar and rectangular effects for hosts of frei0r"
    "Two effects, Polar to Rectangular and Rectangular to Polar, for every host of
frei0r, such as ffmpeg, GStreamer and video editors.")
add_package(python python3-polarwarp python "bend pictures between polar and rectangular (Python)"
    "Makes panoramas of round pictures and round pictures of panoramas that are numpy
arrays, exactly and on all processors.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libpolar1 (= ${PROJECT_VERSION}-1)")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_FREI0R_PACKAGE_ENHANCES "ffmpeg, gstreamer1.0-plugins-bad, kdenlive, melt, shotcut")

# What packages are given beside what is installed.
set(CPACK_POLAR_FILES "${PROJECT_BINARY_DIR}/packages")
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/packageFiles.cmake")
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file("${CMAKE_CURRENT_LIST_DIR}/changelog.Debian.in" "${CPACK_POLAR_FILES}/changelog.Debian")
configure_file(CHANGELOG.md "${CPACK_POLAR_FILES}/CHANGELOG.md" COPYONLY)
configure_file(LICENSE "${CPACK_POLAR_FILES}/copyright" COPYONLY)
# The library is known by its soname, and the linker's cache hears of it.
file(WRITE "${CPACK_POLAR_FILES}/shlibs" "libpolar ${PROJECT_VERSION_MAJOR} libpolar${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION})\n")
file(WRITE "${CPACK_POLAR_FILES}/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
    "${CPACK_POLAR_FILES}/shlibs" "${CPACK_POLAR_FILES}/triggers")
include(CPack)
