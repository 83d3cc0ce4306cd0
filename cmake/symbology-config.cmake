# symbology::symbology, and by the component geodatabase symbology::geodatabase, from the package that this file lies in.
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

# symbology::geodatabase, one call that symbolizes a dataset; symbology::c, the C interface over Arrow streams. Not on Windows.
foreach(_symbology_component IN LISTS symbology_FIND_COMPONENTS)
  set(_symbology_library "${_symbology_prefix}/lib/libsymbology_${_symbology_component}.so")
  if(NOT _symbology_component MATCHES "^(geodatabase|c)$" OR NOT EXISTS "${_symbology_library}")
    set(symbology_${_symbology_component}_FOUND FALSE)
    if(symbology_FIND_REQUIRED_${_symbology_component})
      set(symbology_FOUND FALSE)
      string(APPEND symbology_NOT_FOUND_MESSAGE "There is no component '${_symbology_component}' in this package. ")
    endif()
    continue()
  endif()
  set(symbology_${_symbology_component}_FOUND TRUE)
  if(NOT TARGET symbology::${_symbology_component})
    add_library(symbology::${_symbology_component} SHARED IMPORTED)
    set_target_properties(symbology::${_symbology_component} PROPERTIES
      INTERFACE_INCLUDE_DIRECTORIES "${_symbology_prefix}/include"
      IMPORTED_LOCATION "${_symbology_library}"
      IMPORTED_SONAME libsymbology_${_symbology_component}.so.0)
    get_property(_symbology_languages GLOBAL PROPERTY ENABLED_LANGUAGES)
    if(_symbology_component STREQUAL "geodatabase" AND "CXX" IN_LIST _symbology_languages)  # C has it, too
      set_target_properties(symbology::geodatabase PROPERTIES INTERFACE_COMPILE_FEATURES cxx_std_20)
    endif()
  endif()
endforeach()
unset(_symbology_component)
unset(_symbology_languages)
unset(_symbology_library)

unset(_symbology_prefix)
