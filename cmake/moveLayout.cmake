# Run by cpack on what it has installed: moves Host/ and Plugins/ to lib/polar/, together, so that they
# find each other there as before; gives every package its changes, compressed as Debian wants them.
set(usr "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/polar${CPACK_PACKAGING_INSTALL_PREFIX}")
file(MAKE_DIRECTORY "${usr}/lib/polar")
file(RENAME "${usr}/Host" "${usr}/lib/polar/Host")
file(RENAME "${usr}/Plugins" "${usr}/lib/polar/Plugins")
file(REMOVE "${usr}/bin/polar")
file(CREATE_LINK ../lib/polar/Host/Contents/bin/polar "${usr}/bin/polar" SYMBOLIC)
