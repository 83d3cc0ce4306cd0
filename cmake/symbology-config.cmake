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

# By components, not on Windows: symbology::geodatabase, one call that symbolizes a dataset; symbology::c, the C interface over
# Arrow streams, and symbology::arrow, the same in classes for C++; symbology::python, which starts a Python for expressions.
foreach(_symbology_component IN LISTS symbology_FIND_COMPONENTS)
  set(_symbology_name ${_symbology_component})
  if(_symbology_component STREQUAL "arrow")
    set(_symbology_name c)  # it is a header alone
  endif()
  set(_symbology_library "${_symbology_prefix}/lib/libsymbology_${_symbology_name}.so")
  if(NOT _symbology_component MATCHES "^(geodatabase|c|arrow|python)$" OR NOT EXISTS "${_symbology_library}")
    set(symbology_${_symbology_component}_FOUND FALSE)
    if(symbology_FIND_REQUIRED_${_symbology_component})
      set(symbology_FOUND FALSE)
      string(APPEND symbology_NOT_FOUND_MESSAGE "There is no component '${_symbology_component}' in this package. ")
    endif()
    continue()
  endif()
  set(symbology_${_symbology_component}_FOUND TRUE)
  if(NOT TARGET symbology::${_symbology_name})
    add_library(symbology::${_symbology_name} SHARED IMPORTED)
    set_target_properties(symbology::${_symbology_name} PROPERTIES
      INTERFACE_INCLUDE_DIRECTORIES "${_symbology_prefix}/include"
      IMPORTED_LOCATION "${_symbology_library}"
      IMPORTED_SONAME libsymbology_${_symbology_name}.so.0)
  endif()
  if(_symbology_component STREQUAL "arrow" AND NOT TARGET symbology::arrow)
    add_library(symbology::arrow INTERFACE IMPORTED)
    set_target_properties(symbology::arrow PROPERTIES INTERFACE_LINK_LIBRARIES symbology::c)
  endif()
  # What C has, too, asks for C++ where there is C++.
  get_property(_symbology_languages GLOBAL PROPERTY ENABLED_LANGUAGES)
  if(NOT _symbology_component STREQUAL "c" AND "CXX" IN_LIST _symbology_languages)
    set_target_properties(symbology::${_symbology_component} PROPERTIES INTERFACE_COMPILE_FEATURES cxx_std_20)
  endif()
endforeach()
unset(_symbology_component)
unset(_symbology_name)
unset(_symbology_languages)
unset(_symbology_library)

unset(_symbology_prefix)
