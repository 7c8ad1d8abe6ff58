# Install tree: lib/qvlibs/ holds the library and its modules, lib/ the linker name, and both ways to find it.
# Every piece belongs to a Debian package (Package.cmake); "cmake --install" puts all of them down.
include(CMakePackageConfigHelpers)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)

install(TARGETS qvlibs EXPORT qvlibs-targets
  LIBRARY DESTINATION ${QVLIBS_INSTALL_LIBRARY_DIR} NAMELINK_SKIP COMPONENT library
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
file(CREATE_LINK qvlibs/libqvlibs.so.${PROJECT_VERSION_MAJOR} ${CMAKE_CURRENT_BINARY_DIR}/libqvlibs.so SYMBOLIC)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/libqvlibs.so DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT qvlibs-targets NAMESPACE qvlibs:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvlibs)
configure_package_config_file(cmake/qvlibs-config.cmake.in qvlibs-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvlibs)
write_basic_package_version_file(qvlibs-config-version.cmake COMPATIBILITY SameMajorVersion)
configure_file(cmake/qvlibs.pc.in qvlibs.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qvlibs-config.cmake ${CMAKE_CURRENT_BINARY_DIR}/qvlibs-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvlibs)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qvlibs.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME program)
install(TARGETS qv RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${CMAKE_BINARY_DIR}/tools/qv/qv.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES tools/qv/completion/qv.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME qv)
install(FILES tools/qv/desktop/qv.thumbnailer DESTINATION ${CMAKE_INSTALL_DATADIR}/thumbnailers)
install(FILES tools/qv/desktop/qvlibs.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages)
install(FILES tools/qv/completion/_qv DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
install(FILES tools/qv/completion/qv.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
