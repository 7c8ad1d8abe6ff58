# Install tree: lib/qvlibs/ holds the library and its modules, lib/ the linker name, and both ways to find it.
include(CMakePackageConfigHelpers)
install(TARGETS qvlibs EXPORT qvlibs-targets
  LIBRARY DESTINATION ${QVLIBS_INSTALL_LIBRARY_DIR} NAMELINK_SKIP
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS qv RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${CMAKE_BINARY_DIR}/tools/qv/qv.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES tools/qv/completion/qv.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME qv)
install(FILES tools/qv/completion/_qv DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
install(FILES tools/qv/completion/qv.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
install(CODE "
  set(lib \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}\")
  file(CREATE_LINK qvlibs/libqvlibs.so.${PROJECT_VERSION_MAJOR} \"\${lib}/libqvlibs.so\" SYMBOLIC)")
install(EXPORT qvlibs-targets NAMESPACE qvlibs:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvlibs)
configure_package_config_file(cmake/qvlibs-config.cmake.in qvlibs-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvlibs)
write_basic_package_version_file(qvlibs-config-version.cmake COMPATIBILITY SameMajorVersion)
configure_file(cmake/qvlibs.pc.in qvlibs.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qvlibs-config.cmake ${CMAKE_CURRENT_BINARY_DIR}/qvlibs-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvlibs)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qvlibs.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
