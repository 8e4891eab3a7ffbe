# cpack -G DEB: a package with the library, and one with what building a host takes.
set(CPACK_PACKAGE_NAME orvaneinterface)
set(CPACK_PACKAGE_VENDOR "OrvaneInterface developers")
set(CPACK_PACKAGE_CONTACT "OrvaneInterface developers <orvaneinterface@halden.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)

set(ORVANE_RUNTIME_PACKAGE "liborvaneinterface${PROJECT_VERSION_MAJOR}")
set(ORVANE_DEVELOPMENT_PACKAGE liborvaneinterface-dev)
set(long_description
    "A shared library for video-management applications. It serves the Orvane\ncontrol system over TLS and turns its commands into calls on an interface\nthat the application implements.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${ORVANE_RUNTIME_PACKAGE})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(ORVANE_CONTROL_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/debian")
file(WRITE "${ORVANE_CONTROL_DIRECTORY}/shlibs"
    "libOrvaneInterface ${PROJECT_VERSION_MAJOR} ${ORVANE_RUNTIME_PACKAGE} (>= ${PROJECT_VERSION})\n")
file(WRITE "${ORVANE_CONTROL_DIRECTORY}/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    "${ORVANE_CONTROL_DIRECTORY}/shlibs" "${ORVANE_CONTROL_DIRECTORY}/triggers")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "${long_description}")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${ORVANE_DEVELOPMENT_PACKAGE})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${ORVANE_RUNTIME_PACKAGE} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}), qt6-base-dev (>= 6.4)")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "${long_description}\n.\nThis package has the headers, and what CMake and pkg-config need.")

# Debian wants a changelog and a copyright file from each package.
find_program(GZIP_EXECUTABLE gzip)
if(GZIP_EXECUTABLE)
    set(changelog "${ORVANE_CONTROL_DIRECTORY}/changelog.Debian")
    file(WRITE "${changelog}"
"orvaneinterface (${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * See CHANGELOG.md of the sources.

 -- ${CPACK_PACKAGE_CONTACT}  Tue, 24 Nov 2026 12:00:00 +0000
")
    execute_process(COMMAND "${GZIP_EXECUTABLE}" --keep --force --no-name --best "${changelog}" COMMAND_ERROR_IS_FATAL ANY)
    foreach(component IN ITEMS RUNTIME DEVELOPMENT)
        string(TOLOWER ${component} lower)
        install(FILES "${changelog}.gz" cmake/copyright
            DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${component}_PACKAGE_NAME}"
            COMPONENT ${lower})
    endforeach()
endif()

include(CPack)
