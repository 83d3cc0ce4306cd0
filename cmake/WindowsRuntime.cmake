# The compiler's runtime and the other DLLs that a program needs, beside the programs of the build folder. Exceptions
# leave the library, so it and its host share one C++ runtime.
set(runtime_dlls "")
foreach(name libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
  execute_process(COMMAND "${CMAKE_CXX_COMPILER}" "-print-file-name=${name}" OUTPUT_VARIABLE path
                  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  if(NOT EXISTS "${path}")
    message(FATAL_ERROR "The compiler does not know where its ${name} is")
  endif()
  list(APPEND runtime_dlls "${path}")
endforeach()
set(SYMBOLOGY_COMPILER_RUNTIME ${runtime_dlls})  # packages hold it, too
list(APPEND runtime_dlls "${SYMBOLOGY_WINDOWS_PYTHON}/python313.dll")
file(COPY ${runtime_dlls} DESTINATION "${CMAKE_BINARY_DIR}/bin")
foreach(path IN LISTS SYMBOLOGY_COMPILER_RUNTIME)
  get_filename_component(name "${path}" NAME)
  execute_process(COMMAND "${CMAKE_STRIP}" --strip-debug "${CMAKE_BINARY_DIR}/bin/${name}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()
