# The Debian packages, one for each component, which CPack builds from the install() rules.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS debian/changelog)
file(READ debian/changelog changelog)
if(NOT changelog MATCHES "^kelvane-uninstaller \\(${PROJECT_VERSION}-([0-9]+)\\) unstable;")
    message(FATAL_ERROR "debian/changelog does not begin with version ${PROJECT_VERSION}")
endif()
set(newest "${CMAKE_MATCH_0}")
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_1})
set(suite unstable)

# Packages built for a release of Debian are older than the same built for the next one.
cmake_host_system_information(RESULT system QUERY DISTRIB_INFO)
if(system_ID STREQUAL debian AND system_VERSION_ID)
    string(APPEND CPACK_DEBIAN_PACKAGE_RELEASE ~deb${system_VERSION_ID}u1)
    set(suite ${system_VERSION_CODENAME})
endif()
set(version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
string(REPLACE "${newest}" "kelvane-uninstaller (${version}) ${suite};" changelog "${changelog}")
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/changelog "${changelog}")

set(CPACK_GENERATOR DEB)
set(CPACK_OUTPUT_FILE_PREFIX ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_PACKAGE_NAME kelvane-uninstaller)
set(CPACK_PACKAGE_VENDOR Quillfen)
set(CPACK_PACKAGE_CONTACT "Quillfen <packages@quillfen.com>")
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SOURCE kelvane-uninstaller)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Where to find libraries of this project's other packages.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR})

# debian_package(COMPONENT NAME SECTION DESCRIPTION [DEPENDS ...] [RECOMMENDS ...] [TAKES_FROM ...]):
# the description's first line is the synopsis. DEPENDS adds to the libraries' own dependencies.
# TAKES_FROM names the versions of a package that held this package's files.
function(debian_package component name section description)
    cmake_parse_arguments(ARG "" "" "DEPENDS;RECOMMENDS;TAKES_FROM" ${ARGN})
    string(TOUPPER ${component} key)
    set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_DESCRIPTION "${description}" PARENT_SCOPE)
    list(JOIN ARG_DEPENDS ", " depends)
    set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
    list(JOIN ARG_RECOMMENDS ", " recommends)
    set(CPACK_DEBIAN_${key}_PACKAGE_RECOMMENDS "${recommends}" PARENT_SCOPE)
    list(JOIN ARG_TAKES_FROM ", " takes_from)
    set(CPACK_DEBIAN_${key}_PACKAGE_BREAKS "${takes_from}" PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_PACKAGE_REPLACES "${takes_from}" PARENT_SCOPE)
    set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)

    install(FILES debian/copyright
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
    install_compressed(${CMAKE_CURRENT_BINARY_DIR}/changelog changelog.Debian doc/${name} ${component})
    install_compressed(../CHANGELOG.md changelog doc/${name} ${component})
    install(FILES debian/${name}.lintian-overrides RENAME ${name}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT ${component} OPTIONAL)
endfunction()

# debian_library(COMPONENT LIBRARY PACKAGE): declares which package programs need that link with the
# library, and updates the loader's cache.
function(debian_library component library package)
    set(folder ${CMAKE_CURRENT_BINARY_DIR}/${component})
    file(WRITE ${folder}/shlibs
        "${library} ${PROJECT_VERSION_MAJOR} ${package} (>= ${PROJECT_VERSION})\n")
    file(WRITE ${folder}/triggers "activate-noawait ldconfig\n")
    string(TOUPPER ${component} key)
    set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA ${folder}/shlibs ${folder}/triggers PARENT_SCOPE)
endfunction()

set(CPACK_COMPONENTS_ALL)
debian_package(uninstaller kelvane-uninstaller admin
"uninstaller of the Kelvane suite
Moves all that Quillfen's Kelvane suite has put on a machine to the user's
Trash, from where it can be restored, and stops the suite's background jobs.
.
Administrator rights are asked for only where an item needs them."
    DEPENDS pkexec polkitd psmisc
    RECOMMENDS kelvane-uninstaller-desktop systemd)
debian_package(desktop kelvane-uninstaller-desktop admin
"uninstaller of the Kelvane suite - windows
The windows of the uninstaller, and its entry in the desktop's menu. Without
them it asks on a terminal."
    DEPENDS "kelvane-uninstaller (= ${version})"
    RECOMMENDS fonts-dejavu-core qt6-wayland
    TAKES_FROM "kelvane-uninstaller (<< 1.0.0-2~)")
debian_package(library libqfutil1 libs
"utility layer of Quillfen's applications
Standard locations, a log with generations, child processes with time-outs,
an administrator's authorization, file operations and background jobs, behind
ports that an application fills with one call."
    RECOMMENDS pkexec polkitd psmisc systemd)
debian_library(library libqfutil libqfutil1)
debian_package(qtlibrary libqfutil-qt1 libs
"utility layer of Quillfen's applications - windows
The windows, event loop and alerts of applications that are built on the
utility layer, by Qt."
    DEPENDS "libqfutil1 (= ${version})"
    RECOMMENDS qt6-wayland)
debian_library(qtlibrary libqfutil-qt libqfutil-qt1)
debian_package(development libqfutil-dev libdevel
"utility layer of Quillfen's applications - development files
The headers, and what CMake (find_package) and pkg-config need to build
programs on the utility layer."
    DEPENDS "libqfutil1 (= ${version})" "libqfutil-qt1 (= ${version})")

include(CPack)
