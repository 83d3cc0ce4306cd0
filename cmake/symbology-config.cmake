# symbology::symbology, from the package that this file lies in.
get_filename_component(_symbology_prefix "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)

if(NOT TARGET symbology::symbology)
  add_library(symbology::symbology SHARED IMPORTED)
  set_target_properties(symbology::symbology PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${_symbology_prefix}/include"
    INTERFACE_COMPILE_FEATURES cxx_std_20)
  if(WIN32)
    # Names and exceptions of C++ are a compiler's own: this is the import library for MinGW.
    set_target_properties(symbology::symbology PROPERTIES
      IMPORTED_LOCATION "${_symbology_prefix}/bin/symbology.dll"
      IMPORTED_IMPLIB "${_symbology_prefix}/lib/libsymbology.dll.a"
      INTERFACE_LINK_LIBRARIES "oleaut32;ole32;uuid")
  else()
    set_target_properties(symbology::symbology PROPERTIES
      IMPORTED_LOCATION "${_symbology_prefix}/lib/libsymbology.so"
      IMPORTED_SONAME libsymbology.so.0
      INTERFACE_LINK_LIBRARIES "${_symbology_prefix}/lib/libsymbology-platform.so")
  endif()
endif()
# symbology::c, the C interface over Arrow streams; not on Windows.
if(NOT WIN32 AND NOT TARGET symbology::c)
  add_library(symbology::c SHARED IMPORTED)
  set_target_properties(symbology::c PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${_symbology_prefix}/include"
    IMPORTED_LOCATION "${_symbology_prefix}/lib/libsymbology_c.so"
    IMPORTED_SONAME libsymbology_c.so.0)
endif()
unset(_symbology_prefix)
