# What a package holds: the library with what hosts need to build against it, an example, and licence notes. An archive holds all of
# it; for Debian each component is a package (DebianPackages).
include(GNUInstallDirs)
set(libdir lib)  # one place on every system: the package is unpacked anywhere

install(TARGETS symbology velcore tarnlib
        RUNTIME DESTINATION bin COMPONENT library
        LIBRARY DESTINATION ${libdir} COMPONENT library NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${libdir} COMPONENT development)
if(WIN32)
  set(not_here PATTERN geodatabase*.h EXCLUDE PATTERN python.h EXCLUDE PATTERN arrow.h EXCLUDE)
endif()
install(DIRECTORY include/symbology DESTINATION include COMPONENT development ${not_here})
# Beside what includes them, so that a program needs one folder of headers, and none in it but symbology.
install(FILES platform/platform.h platform/atl.h platform/export.h platform/interface.h
        DESTINATION include/symbology/platform COMPONENT development)
install(DIRECTORY examples/host DESTINATION share/symbology/examples COMPONENT development)
install(DIRECTORY share/symbology/symbols DESTINATION share/symbology COMPONENT tool)
install(FILES README.md DESTINATION share/doc/symbology COMPONENT documentation)
install(DIRECTORY docs DESTINATION share/doc/symbology COMPONENT documentation
        FILES_MATCHING PATTERN "*.md" PATTERN "*.png" PATTERN "*.svg")
# How builds find it, by CMake and by pkg-config. Before 1.0 each minor version may change what hosts see.
include(CMakePackageConfigHelpers)
write_basic_package_version_file("${CMAKE_BINARY_DIR}/symbology-config-version.cmake" COMPATIBILITY SameMinorVersion)
install(FILES cmake/symbology-config.cmake "${CMAKE_BINARY_DIR}/symbology-config-version.cmake"
        DESTINATION ${libdir}/cmake/symbology COMPONENT development)
if(NOT WIN32)
  foreach(name symbology symbology-geodatabase symbology-c symbology-arrow symbology-python)
    configure_file(cmake/${name}.pc.in "${CMAKE_BINARY_DIR}/${name}.pc" @ONLY)
    install(FILES "${CMAKE_BINARY_DIR}/${name}.pc" DESTINATION ${libdir}/pkgconfig COMPONENT development)
  endforeach()
endif()

if(WIN32)
  # Import libraries of Microsoft's form; the compiler's runtime, which library and host share.
  install(FILES "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/symbology.lib" "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/symbology.def"
          DESTINATION ${libdir})
  foreach(package gcc-mingw-w64-x86-64-posix-runtime mingw-w64-common)
    install(FILES "/usr/share/doc/${package}/copyright" DESTINATION share/doc/symbology/licences RENAME ${package}.txt)
  endforeach()
  foreach(path IN LISTS SYMBOLOGY_COMPILER_RUNTIME)
    get_filename_component(name "${path}" NAME)
    install(FILES "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name}" DESTINATION bin)
  endforeach()
else()
  install(TARGETS symbology_platform
          LIBRARY DESTINATION ${libdir} COMPONENT library NAMELINK_COMPONENT development)
  foreach(part c geodatabase python)
    install(TARGETS symbology_${part} LIBRARY DESTINATION ${libdir} COMPONENT ${part} NAMELINK_COMPONENT development)
  endforeach()
  install(TARGETS cxml RUNTIME DESTINATION bin COMPONENT tool)
  set(portable_headers portable types unknown bstr debug_output error_info nls registry variant msxml)
  list(TRANSFORM portable_headers PREPEND platform/portable/)
  list(TRANSFORM portable_headers APPEND .h)
  install(FILES ${portable_headers} DESTINATION include/symbology/platform/portable COMPONENT development)
  install(DIRECTORY examples/one_call examples/dataset_c examples/stream examples/host_python DESTINATION share/symbology/examples
          COMPONENT development)
  install(FILES docs/cxml.1 DESTINATION share/man/man1 COMPONENT tool)
endif()
if(SYMBOLOGY_BUNDLED_PYTHON)
  foreach(starts cxml symbology_python)
    set_property(TARGET ${starts} APPEND PROPERTY INSTALL_RPATH "$ORIGIN/../${SYMBOLOGY_INSTALLED_PYTHON}/lib")
  endforeach()
  include(PackagePython)
endif()

set(CPACK_PACKAGE_NAME symbology)
set(CPACK_PACKAGE_VENDOR "the symbology project")
set(CPACK_PACKAGE_CONTACT "the symbology project <symbology@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DIRECTORY "${CMAKE_BINARY_DIR}/packages")
set(CPACK_STRIP_FILES ON)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
else()
  set(CPACK_GENERATOR TGZ DEB)
  include(DebianPackages)
endif()
include(CPack)
