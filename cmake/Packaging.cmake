# What `cmake --install` puts in place, and the Debian package CPack makes of
# it (scripts/package.sh). The three programs go in bin and the project's own
# libraries in a private folder, lib/qz62: each program finds them through its
# run path ($ORIGIN/../lib/qz62) and each library the others through its own
# folder ($ORIGIN), so the unpacked package runs from any folder without
# LD_LIBRARY_PATH. Everything else the package holds is in packaging/.
include(GNUInstallDirs)

set(QZ62_PRIVATE_LIBDIR lib/qz62)
# The adapter's rule goes where Debian 12's udev packages put theirs.
set(QZ62_UDEV_RULES_DIR "/lib/udev/rules.d"
    CACHE PATH "Where the USB adapter's udev rule is installed (relative: under the prefix)")
# The AppStream component; its metadata file is named after it.
set(QZ62_APPSTREAM_ID "org.qz62.control")

set(qz62_programs qz62 qz62ctl qz62-sim)
get_property(qz62_installed_modules GLOBAL PROPERTY QZ62_INSTALLED_MODULES)
set_target_properties(${qz62_programs} PROPERTIES INSTALL_RPATH "$ORIGIN/../${QZ62_PRIVATE_LIBDIR}")
install(TARGETS ${qz62_programs} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS ${qz62_installed_modules} LIBRARY DESTINATION ${QZ62_PRIVATE_LIBDIR})
# Each library names the C library it runs on, even one whose own code calls
# nothing of it directly (the compiler links --as-needed by default, which
# would leave it out, and Debian's checks refuse a library without it).
if(NOT APPLE)
    foreach(module ${qz62_installed_modules})
        target_link_options(${module} PRIVATE "LINKER:--push-state,--no-as-needed,-lc,--pop-state")
    endforeach()
endif()

set(qz62_packaging ${PROJECT_SOURCE_DIR}/packaging)
set(qz62_docdir ${CMAKE_INSTALL_DATADIR}/doc/qz62)

# Manual pages and the changelog are installed compressed, without a name or
# time stamp in the gzip header, so the same sources give the same package.
set(qz62_compressed)
foreach(source man/qz62.1 man/qz62ctl.1 man/qz62-sim.1 changelog)
    get_filename_component(name ${source} NAME)
    set(copy ${CMAKE_BINARY_DIR}/packaging/${name})
    add_custom_command(
        OUTPUT ${copy}.gz
        COMMAND ${CMAKE_COMMAND} -E copy ${qz62_packaging}/${source} ${copy}
        COMMAND gzip -9nf ${copy}
        DEPENDS ${qz62_packaging}/${source}
        COMMENT "Compressing ${source}"
        VERBATIM)
    list(APPEND qz62_compressed ${copy}.gz)
endforeach()
add_custom_target(qz62_compressed_docs ALL DEPENDS ${qz62_compressed})

install(FILES ${CMAKE_BINARY_DIR}/packaging/qz62.1.gz ${CMAKE_BINARY_DIR}/packaging/qz62ctl.1.gz
              ${CMAKE_BINARY_DIR}/packaging/qz62-sim.1.gz
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${CMAKE_BINARY_DIR}/packaging/changelog.gz ${qz62_packaging}/copyright
        DESTINATION ${qz62_docdir})
install(FILES ${PROJECT_SOURCE_DIR}/src/app/qz62.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${qz62_packaging}/qz62.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
install(FILES ${qz62_packaging}/qz62.metainfo.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo
        RENAME ${QZ62_APPSTREAM_ID}.metainfo.xml)
install(FILES ${qz62_packaging}/qz62ctl.bash-completion
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME qz62ctl)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    install(FILES ${qz62_packaging}/70-qz62.rules DESTINATION ${QZ62_UDEV_RULES_DIR})
endif()

# The package. Its dependencies are those of the shared libraries the
# programs and libraries actually use, as dpkg-shlibdeps finds them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qz62)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "QZ62 developers <dev@qz62.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "control application for the QZ62 video-overlay unit")
set(CPACK_PACKAGE_DESCRIPTION
    "Configures the QZ62 unit, which keys streamers, punches, an annunciator,\n"
    "counters and cue text over the picture on film-scoring and ADR stages,\n"
    "previews its overlays, prepares cue sheets and fires cues from MIDI Time\n"
    "Code. It reaches the unit over its USB-serial adapter or a network proxy.\n"
    "\n"
    "The package holds the application (qz62), the command-line tool (qz62ctl)\n"
    "and a simulated unit (qz62-sim). Its udev rule gives the user at the\n"
    "machine access to the unit's USB adapter.")
string(REPLACE ";" "" CPACK_PACKAGE_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION}")
# The udev rule's folder is absolute: it must land in the package, not on
# the machine that builds it, so CPack installs with DESTDIR, under this prefix.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/package)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The annunciator preview draws in DejaVu Sans; proxies are found through
# the machine's avahi-daemon.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "fonts-dejavu-core, avahi-daemon")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
