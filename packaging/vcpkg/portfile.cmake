# An overlay port: it lies in the source tree that it builds.
#   vcpkg install quillmere --overlay-ports=packaging/vcpkg

get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)

vcpkg_cmake_configure(SOURCE_PATH "${SOURCE_PATH}")
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME quillmere CONFIG_PATH lib/cmake/quillmere)
vcpkg_fixup_pkgconfig()
vcpkg_copy_tools(TOOL_NAMES quillmere AUTO_CLEAN)

file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
