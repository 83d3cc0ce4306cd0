# embedded_python on Windows: the Python 3.13 that scripts/setup-windows-python fetched, for the tests of expressions and
# their host. The library itself needs none.
set(SYMBOLOGY_WINDOWS_PYTHON "${SYMBOLOGY_CACHE}/windows-python" CACHE PATH
    "The folder of the Python 3.13 for Windows that is embedded: python313.dll, include and lib")
if(NOT EXISTS "${SYMBOLOGY_WINDOWS_PYTHON}/python313.dll")
  message(FATAL_ERROR "No Python for Windows in ${SYMBOLOGY_WINDOWS_PYTHON}: run scripts/setup windows")
endif()
find_program(SYMBOLOGY_LLVM_DLLTOOL llvm-dlltool REQUIRED)

set(embedded_library "${CMAKE_BINARY_DIR}/python/python313.lib")
if(NOT EXISTS "${embedded_library}")
  file(MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/python")
  execute_process(COMMAND "${CMAKE_COMMAND}" "-DOBJDUMP=${CMAKE_OBJDUMP}" "-DDLLTOOL=${SYMBOLOGY_LLVM_DLLTOOL}"
                          "-DDLL=${SYMBOLOGY_WINDOWS_PYTHON}/python313.dll"
                          "-DDEFINITION=${CMAKE_BINARY_DIR}/python/python313.def" "-DLIBRARY=${embedded_library}"
                          -P "${CMAKE_SOURCE_DIR}/cmake/import_library.cmake"
                  COMMAND_ERROR_IS_FATAL ANY)
endif()
# Where its standard library is: hosts start it with this home. Wine shows the whole machine as drive Z.
set(SYMBOLOGY_PYTHON_HOME "Z:${SYMBOLOGY_WINDOWS_PYTHON}")
add_library(embedded_python SHARED IMPORTED)
set_target_properties(embedded_python PROPERTIES
  IMPORTED_LOCATION "${SYMBOLOGY_WINDOWS_PYTHON}/python313.dll"
  IMPORTED_IMPLIB "${embedded_library}"
  INTERFACE_INCLUDE_DIRECTORIES "${SYMBOLOGY_WINDOWS_PYTHON}/include"
  INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${SYMBOLOGY_WINDOWS_PYTHON}/include")
