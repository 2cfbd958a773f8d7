include(CMakePackageConfigHelpers)

# Two export sets: drutilsTargets (the base library) is read by every
# find_package(drutils); drutilsPrintTargets only when the print or toolkit
# component is asked for, after their wxWidgets was found.
install(TARGETS drutils EXPORT drutilsTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/drutils)
install(TARGETS drutils_print EXPORT drutilsPrintTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/drutils)
install(TARGETS drutils-tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
# The tool's printing commands, loaded by the tool from here.
install(TARGETS drutils-printing LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/drutils)
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/drutils
    FILES_MATCHING PATTERN "*.h")
install(EXPORT drutilsTargets NAMESPACE drutils::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/drutils)
install(EXPORT drutilsPrintTargets NAMESPACE drutils::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/drutils)

# The print and toolkit components ask for the wxWidgets this build used
# (space-separated for the config file's find_dependency call).
string(REPLACE ";" " " DRUTILS_WX_COMPONENTS_TEXT "${DRUTILS_WX_COMPONENTS}")
configure_package_config_file(cmake/drutilsConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/drutilsConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/drutils)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/drutilsConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/drutilsConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/drutilsConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/drutils)

# JSON Schemas of the tool's source forms of tables, configurations and model files.
install(FILES data/schema/plotstyletable.schema.json data/schema/pc3.schema.json data/schema/pmp.schema.json
    DESTINATION ${CMAKE_INSTALL_DATADIR}/drutils)

# The tool's man page and bash completion, generated from its help at build time.
install(FILES ${DRUTILS_MAN_PAGE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${DRUTILS_COMPLETION} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME drutils)

# pkg-config: drutils.pc for the base library (its headers need no toolkit),
# drutils-print.pc for the printing library with wxWidgets' flags (Debian's
# wxWidgets has no .pc file, so they are the ones this build found), and
# drutils-toolkit.pc for both, as before the libraries were split. The prefix written into them is the one given when installing
# (cmake --install --prefix DIR), so they are filled in twice: here with everything
# known now, at install time with the prefix.
set(DRUTILS_PC_PREFIX "@DRUTILS_PC_PREFIX@")
foreach(kind LIBDIR INCLUDEDIR)
    if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}}")
        set(DRUTILS_PC_${kind} "${CMAKE_INSTALL_${kind}}")
    else()
        set(DRUTILS_PC_${kind} "\${prefix}/${CMAKE_INSTALL_${kind}}")
    endif()
endforeach()
set(DRUTILS_PC_WX_CFLAGS "")
foreach(dir IN LISTS wxWidgets_INCLUDE_DIRS)
    string(APPEND DRUTILS_PC_WX_CFLAGS " -I${dir}")
endforeach()
foreach(definition IN LISTS wxWidgets_DEFINITIONS)
    string(APPEND DRUTILS_PC_WX_CFLAGS " -D${definition}")
endforeach()
foreach(flag IN LISTS wxWidgets_CXX_FLAGS)
    string(APPEND DRUTILS_PC_WX_CFLAGS " ${flag}")
endforeach()
set(DRUTILS_PC_WX_LIBS "")
foreach(item IN LISTS wxWidgets_LIBRARIES)
    if(item MATCHES "^-" OR IS_ABSOLUTE "${item}")
        string(APPEND DRUTILS_PC_WX_LIBS " ${item}")
    elseif(NOT item STREQUAL "")
        string(APPEND DRUTILS_PC_WX_LIBS " -l${item}")
    endif()
endforeach()
string(STRIP "${DRUTILS_PC_WX_CFLAGS}" DRUTILS_PC_WX_CFLAGS)
string(STRIP "${DRUTILS_PC_WX_LIBS}" DRUTILS_PC_WX_LIBS)
set(pc_dir ${CMAKE_CURRENT_BINARY_DIR}/pkgconfig)
configure_file(cmake/drutils.pc.in ${pc_dir}/drutils.pc.in @ONLY)
configure_file(cmake/drutils-print.pc.in ${pc_dir}/drutils-print.pc.in @ONLY)
configure_file(cmake/drutils-toolkit.pc.in ${pc_dir}/drutils-toolkit.pc.in @ONLY)
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(pc_destination "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
else()
    set(pc_destination "\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endif()
install(CODE "
    set(DRUTILS_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
    foreach(pc drutils drutils-print drutils-toolkit)
        configure_file(\"${pc_dir}/\${pc}.pc.in\" \"${pc_dir}/\${pc}.pc\" @ONLY)
    endforeach()
    file(INSTALL \"${pc_dir}/drutils.pc\" \"${pc_dir}/drutils-print.pc\" \"${pc_dir}/drutils-toolkit.pc\"
        DESTINATION \"${pc_destination}\")
")
