# Installs the library, its public headers, the program with its manual, and what find_package needs to find them.
include(CMakePackageConfigHelpers)

set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/sqliterecovery)

install(TARGETS sqliterecovery EXPORT sqliterecovery-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS sqliterecovery-cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES man/sqliterecovery.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES completions/sqliterecovery.bash RENAME sqliterecovery
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES ${SQLITERECOVERY_PUBLIC_HEADERS}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/sqliterecovery)
install(EXPORT sqliterecovery-targets NAMESPACE sqliterecovery:: DESTINATION ${config_dir})

configure_package_config_file(cmake/sqliterecovery-config.cmake.in
    ${PROJECT_BINARY_DIR}/sqliterecovery-config.cmake INSTALL_DESTINATION ${config_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/sqliterecovery-config-version.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/sqliterecovery-config.cmake
    ${PROJECT_BINARY_DIR}/sqliterecovery-config-version.cmake DESTINATION ${config_dir})

# Relative to the file itself, so that "cmake --install --prefix" may lead anywhere.
file(RELATIVE_PATH prefix_of_pc "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(cmake/sqliterecovery.pc.in ${PROJECT_BINARY_DIR}/sqliterecovery.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/sqliterecovery.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
