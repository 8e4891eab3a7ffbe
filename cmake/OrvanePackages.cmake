# What is released: its version and its documents; on Windows, a ZIP that cpack makes of everything.

# The one version number is that of CMakeLists.txt.
file(STRINGS CHANGELOG.md headings REGEX "^## ")
list(GET headings 0 heading)
if(NOT heading MATCHES "^## ${PROJECT_VERSION} \\((.*)\\)$")
    message(FATAL_ERROR "CHANGELOG.md begins with \"${heading}\", not with version ${PROJECT_VERSION} and its date")
endif()
set(release_date "${CMAKE_MATCH_1}") # the next match overwrites CMAKE_MATCH_1
set(entry)
if(EXISTS "${PROJECT_SOURCE_DIR}/debian/changelog") # the source tarball has none
    file(STRINGS debian/changelog entry LIMIT_COUNT 1)
endif()
if(entry AND NOT entry MATCHES "^[^ ]+ \\(${PROJECT_VERSION}-")
    message(FATAL_ERROR "debian/changelog begins with \"${entry}\", not with version ${PROJECT_VERSION}")
endif()
if(release_date MATCHES "^[0-9]" AND entry MATCHES "-1\\) UNRELEASED")
    message(FATAL_ERROR "CHANGELOG.md says that ${PROJECT_VERSION} is released, debian/changelog that it is not")
endif()

# In the folders to which README.md links.
set(documents_directory "${CMAKE_INSTALL_DATADIR}/doc/liborvaneinterface-dev")
if(WIN32)
    set(documents_directory .)
endif()
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md
    DESTINATION "${documents_directory}" COMPONENT development)
install(DIRECTORY docs DESTINATION "${documents_directory}" COMPONENT development)
install(DIRECTORY examples/first-host examples/guide-host DESTINATION "${documents_directory}/examples" COMPONENT development)
install(PROGRAMS examples/client-python/orvane_client.py
    DESTINATION "${documents_directory}/examples/client-python" COMPONENT development)

if(WIN32)
    set(CPACK_GENERATOR ZIP)
    set(CPACK_PACKAGE_NAME orvaneinterface)
    set(CPACK_PACKAGE_VENDOR "OrvaneInterface developers")
    set(CPACK_STRIP_FILES ON)
    include(CPack)
endif()
