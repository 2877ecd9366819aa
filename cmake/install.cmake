# What `cmake --install` lays down, in components: "runtime" (the shared library), "development" (headers, library,
# CMake package, pkg-config file) and "tool" (the tool, its manual page and its completions).

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/quillmere)

install(TARGETS quillmere EXPORT quillmere_targets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(EXPORT quillmere_targets NAMESPACE quillmere:: DESTINATION ${package_dir} COMPONENT development)

# The tool is a package component of its own, since it may well be installed without the library's development files.
file(RELATIVE_PATH library_from_tool /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
set_target_properties(quillmere_cli PROPERTIES EXPORT_NAME tool INSTALL_RPATH "$ORIGIN/${library_from_tool}")
install(TARGETS quillmere_cli EXPORT quillmere_tool_targets RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
install(EXPORT quillmere_tool_targets NAMESPACE quillmere:: DESTINATION ${package_dir} COMPONENT tool)

# The manual page, and completions where each shell looks for those of other programs.
set(QUILLMERE_ZSH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING "Where zsh looks for completions")
set(generated_dir ${PROJECT_BINARY_DIR}/cli)
install(FILES ${generated_dir}/quillmere.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
install(FILES ${generated_dir}/quillmere.bash RENAME quillmere
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tool)
install(FILES ${generated_dir}/_quillmere DESTINATION ${QUILLMERE_ZSH_COMPLETIONS} COMPONENT tool)
install(FILES ${generated_dir}/quillmere.fish
  DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT tool)

configure_package_config_file(cmake/quillmere-config.cmake.in quillmere-config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(quillmere-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/quillmere-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/quillmere-config-version.cmake
  DESTINATION ${package_dir} COMPONENT development)

# The pkg-config file finds its prefix from where it lies, so that an installed tree can be moved. Only who links the
# static library needs what the library stands on.
file(RELATIVE_PATH QUILLMERE_PREFIX_FROM_PC /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
if(NOT BUILD_SHARED_LIBS)
  set(QUILLMERE_PC_REQUIRES "libcurl libcrypto icu-uc simdjson")
endif()
configure_file(cmake/quillmere.pc.in quillmere.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/quillmere.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
