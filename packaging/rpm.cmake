# RPM packages, one for each part of an installation: cpack -G RPM. docs/packaging.md tells of them,
# tests/packages/rpm builds and tries them.
set(CPACK_GENERATOR RPM)
set(CPACK_PACKAGE_NAME ${QF_PROGRAM})
set(CPACK_PACKAGE_VENDOR Quillfen)
set(CPACK_PACKAGE_CONTACT "Quillfen <packages@quillfen.com>")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_RELEASE 1)
set(CPACK_RPM_PACKAGE_LICENSE MIT)
set(CPACK_RPM_PACKAGE_URL ${PROJECT_HOMEPAGE_URL})
# Modules are no libraries that other packages could ask for.
set(CPACK_RPM_SPEC_MORE_DEFINE "%define _build_id_links none
%define packager ${CPACK_PACKAGE_CONTACT}
%global __provides_exclude_from ^(${CMAKE_INSTALL_FULL_LIBEXECDIR}|.*/qfutil[0-9]+)/.*$")
# Directories that other packages own.
foreach(folder applications bash-completion bash-completion/completions icons icons/hicolor
        icons/hicolor/scalable icons/hicolor/scalable/apps man man/man1 metainfo polkit-1
        polkit-1/actions)
    list(APPEND CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION ${CMAKE_INSTALL_FULL_DATADIR}/${folder})
endforeach()
foreach(size 16 24 32 48 64 128 192 256)
    foreach(folder ${size}x${size} ${size}x${size}/apps)
        list(APPEND CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
            ${CMAKE_INSTALL_FULL_DATADIR}/icons/hicolor/${folder})
    endforeach()
endforeach()
foreach(folder cmake pkgconfig)
    list(APPEND CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION ${CMAKE_INSTALL_FULL_LIBDIR}/${folder})
endforeach()

# rpm_package(COMPONENT NAME SUMMARY DESCRIPTION [REQUIRED...])
macro(rpm_package component name summary description)
    list(APPEND CPACK_COMPONENTS_ALL ${component})
    string(TOUPPER ${component} upper)
    set(CPACK_RPM_${upper}_PACKAGE_NAME ${name})
    set(CPACK_RPM_${upper}_PACKAGE_SUMMARY "${summary}")
    set(CPACK_RPM_${upper}_PACKAGE_DESCRIPTION "${description}")
    string(REPLACE ";" ", " CPACK_RPM_${upper}_PACKAGE_REQUIRES "${ARGN}")
endmacro()

set(same "= ${PROJECT_VERSION}")
set(library libqfutil${PROJECT_VERSION_MAJOR})
set(qt_library libqfutil-qt${PROJECT_VERSION_MAJOR})
rpm_package(uninstaller ${QF_PROGRAM} "Uninstaller of the Kelvane suite"
    "Moves all that Quillfen's Kelvane suite has put on a machine to the user's
Trash, from where it can be restored, and stops the suite's background jobs."
    /usr/bin/killall /usr/bin/pkexec)
rpm_package(desktop ${QF_PROGRAM}-desktop "Windows of the uninstaller of the Kelvane suite"
    "The windows of the uninstaller, and its entry in the desktop's menu. Without
them it asks on a terminal."
    "${QF_PROGRAM} ${same}" hicolor-icon-theme)
rpm_package(library ${library} "Utility layer of Quillfen's applications"
    "Standard locations, a log with generations, child processes with time-outs,
an administrator's authorization, file operations and background jobs.")
rpm_package(qtlibrary ${qt_library} "Utility layer of Quillfen's applications: windows"
    "The windows, event loop and alerts of applications that are built on the
utility layer, by Qt."
    "${library} ${same}")
rpm_package(development libqfutil-devel "Utility layer of Quillfen's applications: development"
    "The headers, and what CMake and pkg-config need to build programs on the
utility layer."
    "${library} ${same}" "${qt_library} ${same}")
set(CPACK_RPM_DEVELOPMENT_PACKAGE_GROUP Development/Libraries)
include(CPack)
