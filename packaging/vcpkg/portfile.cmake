# The owner's: where the sources are published (vcpkg_from_git). Here the tree that this port lies in. libmd and, for pictures as PNG
# and PDF, librsvg are the system's.
get_filename_component(SOURCE_PATH "${CURRENT_PORT_DIR}/../.." ABSOLUTE)

vcpkg_cmake_configure(
  SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS -DSYMBOLOGY_TESTS=OFF -DSYMBOLOGY_WERROR=OFF "-DSYMBOLOGY_PYTHON=${CURRENT_INSTALLED_DIR}/tools/python3/python3.13")
vcpkg_cmake_install()
vcpkg_copy_tools(TOOL_NAMES cxml AUTO_CLEAN)
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
# The owner's: vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
