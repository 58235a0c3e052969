# Run by cpack on what it has installed, a folder for each component.
set(staged "${CPACK_TEMPORARY_INSTALL_DIRECTORY}")
set(usr "${CPACK_PACKAGING_INSTALL_PREFIX}")

# Host/ and Plugins/ move to lib/polar/, together, so that they find each other there as before.
set(polar "${staged}/polar${usr}")
file(MAKE_DIRECTORY "${polar}/lib/polar")
file(RENAME "${polar}/Host" "${polar}/lib/polar/Host")
file(RENAME "${polar}/Plugins" "${polar}/lib/polar/Plugins")
file(REMOVE "${polar}/bin/polar")
file(CREATE_LINK ../lib/polar/Host/Contents/bin/polar "${polar}/bin/polar" SYMBOLIC)

# OpenFX's hosts look into one folder, which Debian knows nothing of.
set(openfx "${staged}/openfx${usr}")
if(EXISTS "${openfx}")
    file(MAKE_DIRECTORY "${openfx}/OFX/Plugins")
    file(CREATE_LINK ../../lib/OFX/Plugins/Polar.ofx.bundle
        "${openfx}/OFX/Plugins/Polar.ofx.bundle" SYMBOLIC)
endif()

# What Debian wants to find in each package.
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER "${component}" upper)
    set(package "${CPACK_DEBIAN_${upper}_PACKAGE_NAME}")
    set(documents "${staged}/${component}${usr}/share/doc/${package}")
    file(MAKE_DIRECTORY "${documents}")
    file(COPY_FILE "${CPACK_POLAR_FILES}/copyright" "${documents}/copyright")
    file(COPY_FILE "${CPACK_POLAR_FILES}/changelog.Debian" "${documents}/changelog.Debian")
    file(COPY_FILE "${CPACK_POLAR_FILES}/CHANGELOG.md" "${documents}/changelog")
    file(GLOB pages "${staged}/${component}${usr}/share/man/man1/*.1")
    execute_process(COMMAND gzip -9nf ${pages} "${documents}/changelog" "${documents}/changelog.Debian"
        COMMAND_ERROR_IS_FATAL ANY)
    file(GLOB archives "${staged}/${component}${usr}/lib/*.a")
    foreach(archive IN LISTS archives)
        execute_process(COMMAND strip --strip-debug --remove-section=.comment "${archive}"
            COMMAND_ERROR_IS_FATAL ANY)
    endforeach()
endforeach()
