# What `cmake --install` lays down: headers, library, tool, CMake package and pkg-config file.

include(CMakePackageConfigHelpers)

install(TARGETS quillmere EXPORT quillmere_targets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(TARGETS quillmere_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# The manual page, and completions where each shell looks for those of other programs.
set(QUILLMERE_ZSH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING "Where zsh looks for completions")
set(generated_dir ${PROJECT_BINARY_DIR}/cli)
install(FILES ${generated_dir}/quillmere.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${generated_dir}/quillmere.bash RENAME quillmere
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES ${generated_dir}/_quillmere DESTINATION ${QUILLMERE_ZSH_COMPLETIONS})
install(FILES ${generated_dir}/quillmere.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/quillmere)
install(EXPORT quillmere_targets NAMESPACE quillmere:: DESTINATION ${package_dir})
configure_package_config_file(cmake/quillmere-config.cmake.in quillmere-config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(quillmere-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/quillmere-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/quillmere-config-version.cmake
  DESTINATION ${package_dir})

# The pkg-config file finds its prefix from where it lies, so that an installed tree can be moved.
file(RELATIVE_PATH QUILLMERE_PREFIX_FROM_PC /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/quillmere.pc.in quillmere.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/quillmere.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
