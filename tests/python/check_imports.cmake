# Compares what a shared library imports from Python with the names of Python's stable interface: any other fails.
#   cmake -DNM=... -DLIBRARY=x.so -DLIST=... -P check_imports.cmake
#   cmake -DOBJDUMP=... -DLIBRARY=x.dll -DLIST=... -P check_imports.cmake
cmake_minimum_required(VERSION 3.25)
file(STRINGS "${LIST}" stable REGEX "^[A-Za-z_]")
if(OBJDUMP)
  # Its import table has a part for each DLL.
  execute_process(COMMAND "${OBJDUMP}" -p "${LIBRARY}" OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCH "DLL Name: python[^\n]*\n.*" output "${output}")
  string(REGEX REPLACE "\n\n.*" "" output "${output}")
else()
  execute_process(COMMAND "${NM}" -D --undefined-only "${LIBRARY}" OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
endif()
string(REGEX MATCHALL "[ \t]_?Py[A-Za-z0-9_]*" imported "${output}")
list(TRANSFORM imported STRIP)
# Without these it is not the library, or nothing was understood.
foreach(name Py_IsInitialized PyGILState_Ensure PyObject_CallObject)
  if(NOT name IN_LIST imported OR NOT name IN_LIST stable)
    message(FATAL_ERROR "${LIBRARY} does not import ${name}, or ${LIST} does not have it")
  endif()
endforeach()
list(REMOVE_ITEM imported ${stable})
if(imported)
  list(JOIN imported "\n  " imported)
  message(FATAL_ERROR "Imported, but not of the stable interface:\n  ${imported}")
endif()
