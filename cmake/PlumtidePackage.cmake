# The Debian package: `cpack` in the build folder of the release preset; scripts/package does all of it.
set(CPACK_GENERATOR DEB)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_NAME plumtide)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr) # whatever the prefix of the build folder is
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The Plumtide developers <maintainers@plumtide.example>")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "board of coding-agent sessions in the tray")
set(CPACK_PACKAGE_DESCRIPTION
"Plumtide follows the Claude Code and Codex sessions on the machine and keeps
a board of them: which one works, which one has finished a turn, which one
waits for an approval, and which has gone quiet. It lives in the tray, shows
a notification when a session asks for something, and talks to nobody but
the desktop.

Each user connects the two tools once, from the panel or by
plumtide --install-hooks on the command line.")

# dpkg-shlibdeps finds the libraries. Qt loads its X11 plugin at run time; that is in the package of a library that it
# finds, libqt6gui6. The hook scripts need awk, find and rm, which every Debian has.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The fonts of the board; the fastest awk for the hooks; who shows the tray item and the notifications; and what draws
# on a Wayland desktop that has no XWayland.
string(JOIN ", " CPACK_DEBIAN_PACKAGE_RECOMMENDS
    fonts-noto-cjk
    mawk
    "default-dbus-session-bus | dbus-session-bus"
    notification-daemon
    qt6-wayland)

include(CPack)
