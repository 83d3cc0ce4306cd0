# Links a module with the import library and looks what the module then wants from whom:
#   cmake -DCXX=... -DLINKER=lld-link -DOBJDUMP=... -DLIBRARY=symbology.lib -DWORK=... -P check_import_library.cmake
cmake_minimum_required(VERSION 3.25)
set(wanted _ZN16SymbologyManagerC1Ev)
file(WRITE "${WORK}/importer.cpp"
  "extern \"C\" __declspec(dllimport) void ${wanted}(void*);\nextern \"C\" void use(void* p) { ${wanted}(p); }\n")
execute_process(COMMAND "${CXX}" -O1 -c "${WORK}/importer.cpp" -o "${WORK}/importer.obj" COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND "${LINKER}" /dll /noentry /export:use "/out:${WORK}/importer.dll" "/implib:${WORK}/importer.lib"
                        "${WORK}/importer.obj" "${LIBRARY}"
                COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND "${OBJDUMP}" -p "${WORK}/importer.dll" OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
if(NOT output MATCHES "DLL Name: symbology\\.dll.*${wanted}")
  message(FATAL_ERROR "The module imports nothing of symbology.dll:\n${output}")
endif()
