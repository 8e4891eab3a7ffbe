# The installed package: the public headers flat in one folder, the library, and what find_package() needs.
include(CMakePackageConfigHelpers)

set(ORVANE_CMAKE_DIRECTORY "${CMAKE_INSTALL_LIBDIR}/cmake/OrvaneInterface")

install(TARGETS OrvaneInterface EXPORT OrvaneInterfaceTargets
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
install(FILES ${ORVANE_PUBLIC_HEADERS}
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/OrvaneInterface" COMPONENT development)
install(EXPORT OrvaneInterfaceTargets
    NAMESPACE OrvaneInterface::
    DESTINATION "${ORVANE_CMAKE_DIRECTORY}" COMPONENT development)

configure_package_config_file(cmake/OrvaneInterfaceConfig.cmake.in OrvaneInterfaceConfig.cmake
    INSTALL_DESTINATION "${ORVANE_CMAKE_DIRECTORY}")
write_basic_package_version_file(OrvaneInterfaceConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    "${CMAKE_CURRENT_BINARY_DIR}/OrvaneInterfaceConfig.cmake"
    "${CMAKE_CURRENT_BINARY_DIR}/OrvaneInterfaceConfigVersion.cmake"
    DESTINATION "${ORVANE_CMAKE_DIRECTORY}" COMPONENT development)

# Relative to the file itself, so that it is correct for any installation prefix.
file(RELATIVE_PATH ORVANE_PREFIX_FROM_PKGCONFIG "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
set(ORVANE_PKGCONFIG_CFLAGS "-I\${includedir}")
if(ORVANE_LIBRARY_TYPE STREQUAL "STATIC")
    string(APPEND ORVANE_PKGCONFIG_CFLAGS " -DORVANE_INTERFACE_STATIC")
endif()
configure_file(cmake/orvane-interface.pc.in orvane-interface.pc @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/orvane-interface.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)
