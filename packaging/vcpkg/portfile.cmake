# A port for an overlay: vcpkg install krriffutils --overlay-ports=packaging/vcpkg. It builds the sources that it lies in.
# Never run by vcpkg itself, which was not available. The tests run it with a stand-in of the functions that it calls.
get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)

vcpkg_cmake_configure(
  SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS -DKR_BUILD_TESTS=OFF -DKR_BUILD_TOOLS=OFF -DKR_BUILD_EXAMPLES=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME KrRiffUtils CONFIG_PATH lib/cmake/KrRiffUtils)
vcpkg_fixup_pkgconfig()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share"
  "${CURRENT_PACKAGES_DIR}/share/doc")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
