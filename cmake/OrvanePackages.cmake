# cpack -G DEB: one package with the library, one for building hosts, and one with the command-line client.
# On Windows, cpack makes one ZIP of them.
set(CPACK_PACKAGE_NAME orvaneinterface)
set(CPACK_PACKAGE_VENDOR "OrvaneInterface developers")
set(CPACK_PACKAGE_CONTACT "OrvaneInterface developers <orvaneinterface@halden.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
if(WIN32)
    set(CPACK_GENERATOR ZIP)
else()
    set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
endif()
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development)
if(ORVANE_BUILD_TOOLS)
    list(APPEND CPACK_COMPONENTS_ALL client)
endif()

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
    "${long_description}\n.\nThis package has the headers, what CMake and pkg-config need, the documents,\ntwo hosts to begin with and a client in Python.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "python3, orvane-client")

set(CPACK_DEBIAN_CLIENT_PACKAGE_NAME orvane-client)
set(CPACK_DEBIAN_CLIENT_PACKAGE_SECTION net)
set(CPACK_DEBIAN_CLIENT_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_CLIENT_DESCRIPTION
    "A command-line client for the hosts of the Orvane control system: one command,\nor many from a terminal or a pipe, over TLS.")

# In the folders to which README.md links.
set(documents_directory "${CMAKE_INSTALL_DATADIR}/doc/${ORVANE_DEVELOPMENT_PACKAGE}")
if(WIN32)
    set(documents_directory .)
endif()
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md
    DESTINATION "${documents_directory}" COMPONENT development)
install(DIRECTORY docs DESTINATION "${documents_directory}" COMPONENT development)
install(DIRECTORY examples/first-host examples/guide-host DESTINATION "${documents_directory}/examples" COMPONENT development)
install(PROGRAMS examples/client-python/orvane_client.py
    DESTINATION "${documents_directory}/examples/client-python" COMPONENT development)

# What lintian is known to report.
set(overrides_of_all "initial-upload-closes-no-bugs") # they are not uploaded anywhere
set(overrides_of_DEVELOPMENT "wrong-name-for-upstream-changelog") # README.md links to this name
set(overrides_of_RUNTIME "maintscript-calls-ldconfig") # cpack adds the scripts in addition to the trigger

# Debian requires a changelog and a copyright file in each package. The date is that of the release in CHANGELOG.md;
# until there is one, today's or SOURCE_DATE_EPOCH.
file(STRINGS CHANGELOG.md headings REGEX "^## ")
list(GET headings 0 heading)
if(NOT heading MATCHES "^## ${PROJECT_VERSION} \\((.*)\\)$")
    message(FATAL_ERROR "CHANGELOG.md begins with \"${heading}\", not with version ${PROJECT_VERSION} and its date")
endif()
set(release_date "${CMAKE_MATCH_1}") # the next match overwrites CMAKE_MATCH_1
set(date_options --utc --rfc-email)
if(release_date MATCHES "^[0-9]+-[0-9]+-[0-9]+$")
    list(APPEND date_options "--date=${release_date}")
elseif(DEFINED ENV{SOURCE_DATE_EPOCH})
    list(APPEND date_options "--date=@$ENV{SOURCE_DATE_EPOCH}")
endif()

find_program(DATE_EXECUTABLE date)
find_program(GZIP_EXECUTABLE gzip)

function(orvane_compress file)
    execute_process(COMMAND "${GZIP_EXECUTABLE}" --keep --force --no-name --best "${file}" COMMAND_ERROR_IS_FATAL ANY)
endfunction()

if(DATE_EXECUTABLE AND GZIP_EXECUTABLE AND UNIX)
    execute_process(COMMAND "${DATE_EXECUTABLE}" ${date_options}
        OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    set(changelog "${ORVANE_CONTROL_DIRECTORY}/changelog.Debian")
    file(WRITE "${changelog}"
"orvaneinterface (${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * See CHANGELOG.md of the sources.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
    orvane_compress("${changelog}")
    foreach(component IN LISTS CPACK_COMPONENTS_ALL)
        string(TOUPPER ${component} upper)
        set(package "${CPACK_DEBIAN_${upper}_PACKAGE_NAME}")
        install(FILES "${changelog}.gz" cmake/copyright
            DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${package}" COMPONENT ${component})
        set(overrides "${ORVANE_CONTROL_DIRECTORY}/overrides/${package}")
        set(lines)
        foreach(tag IN LISTS overrides_of_all overrides_of_${upper})
            string(APPEND lines "${package}: ${tag}\n")
        endforeach()
        file(WRITE "${overrides}" "${lines}")
        install(FILES "${overrides}" DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" COMPONENT ${component})
    endforeach()
endif()

include(CPack)
