include(CMakePackageConfigHelpers)

install(TARGETS drutils EXPORT drutilsTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/drutils)
install(TARGETS drutils-tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/drutils
    FILES_MATCHING PATTERN "*.h")
install(EXPORT drutilsTargets NAMESPACE drutils::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/drutils)

configure_package_config_file(cmake/drutilsConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/drutilsConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/drutils)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/drutilsConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/drutilsConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/drutilsConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/drutils)
