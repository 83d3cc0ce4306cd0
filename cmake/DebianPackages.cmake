# Packages for Debian, one for each component, so that the library alone needs neither Python nor GDAL. What a package needs of the
# system is asked of its files; what it needs of ours is said here, and is of the same version.
macro(debian_package component name summary)
  string(TOUPPER ${component} upper)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}")
  set(CPACK_COMPONENT_${upper}_DEPENDS ${ARGN})
endmacro()

set(CPACK_COMPONENTS_ALL "")
debian_package(library libsymbology0 "The library.")
debian_package(c libsymbology-c0 "Arrow streams, for C." library)
debian_package(geodatabase libsymbology-geodatabase0 "Datasets in one call." library)
debian_package(python libsymbology-python0 "A Python for expressions." library)
debian_package(development libsymbology-dev "Headers and examples."
               library c geodatabase python)
debian_package(tool cxml "The command-line tool." library python)
debian_package(documentation symbology-doc "Documentation.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_TOOL_PACKAGE_SUGGESTS symbology-doc)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS symbology-doc)
if(SYMBOLOGY_PYTHON_MODULE)
  debian_package(python3 python3-symbology "The package for Python." library)
  set(CPACK_DEBIAN_PYTHON3_PACKAGE_SECTION python)
  math(EXPR next_minor "${SYMBOLOGY_MODULE_MINOR} + 1")
  set(CPACK_DEBIAN_PYTHON3_PACKAGE_DEPENDS
      "python3 (>= 3.${SYMBOLOGY_MODULE_MINOR}~), python3 (<< 3.${next_minor}~)")  # the module is for this one alone
  set(CPACK_DEBIAN_PYTHON3_PACKAGE_SUGGESTS "cxml, symbology-doc")
  set(CPACK_DEBIAN_PYTHON3_PACKAGE_CONTROL_EXTRA "${CMAKE_SOURCE_DIR}/packaging/debian/postinst;${CMAKE_SOURCE_DIR}/packaging/debian/prerm")
  set(CPACK_DEBIAN_PYTHON3_PACKAGE_CONTROL_STRICT_PERMISSION ON)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
# Before 0.2 one package held all of it.
set(CPACK_DEBIAN_PACKAGE_CONFLICTS symbology)
set(CPACK_DEBIAN_PACKAGE_REPLACES symbology)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Of the libraries in the packages themselves.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
if(SYMBOLOGY_BUNDLED_PYTHON)
  get_filename_component(python_folder "${SYMBOLOGY_BUNDLED_PYTHON}" DIRECTORY)
  list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${python_folder}")
endif()
