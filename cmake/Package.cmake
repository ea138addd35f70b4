# The Debian package, made by `make package` (cpack) from the install rules.
# Its dependencies are what dpkg-shlibdeps finds the two programs linked
# against, plus the Qt plugin the film strips are read through.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME slidebox)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_CONTACT "Slidebox developers <slidebox@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "switch between several iPhoto libraries")
# The long description; cpack puts the summary above it and indents it.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Slidebox keeps a list of photo library folders, shows the pictures of the
selected library in a slide view, and makes iPhoto work on the library you
pick. It finds, adds and creates libraries and notices when one changes.

The command-line tool slidebox-cli brings the same library model and a
colour-management toolkit (ICC profiles, colour conversions, colour
differences, profile grading) to the shell.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${SLIDEBOX_HOME_PAGE_SERVER})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-image-formats-plugins")
# Profiles for the colour toolkit to list and read.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "colord-data")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
include(CPack)
