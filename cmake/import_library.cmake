# Makes a module definition and an import library from a DLL:
#   cmake -DOBJDUMP=... -DDLLTOOL=... -DDLL=... -DDEFINITION=x.def -DLIBRARY=x.lib -P import_library.cmake
cmake_minimum_required(VERSION 3.25)
execute_process(COMMAND "${OBJDUMP}" -p "${DLL}" OUTPUT_VARIABLE output RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${OBJDUMP} cannot read ${DLL}")
endif()
string(FIND "${output}" "[Ordinal/Name Pointer] Table" start)
if(start EQUAL -1)
  message(FATAL_ERROR "${DLL} exports nothing")
endif()
string(SUBSTRING "${output}" ${start} -1 output)
# Binutils write "[   0] name", later ones "[   0] +base[   1]  0000 name".
string(REGEX MATCHALL "\n[ \t]+\\[ *[0-9]+\\][^\n]*" lines "${output}")
list(TRANSFORM lines REPLACE ".*[] ]([^] ]+)$" "  \\1")
list(LENGTH lines count)
if(count EQUAL 0)
  message(FATAL_ERROR "${DLL} exports nothing")
endif()
list(JOIN lines "\n" names)
get_filename_component(name "${DLL}" NAME)
file(WRITE "${DEFINITION}" "LIBRARY \"${name}\"\nEXPORTS\n${names}\n")
execute_process(COMMAND "${DLLTOOL}" -m i386:x86-64 -D "${name}" -d "${DEFINITION}" -l "${LIBRARY}"
                COMMAND_ERROR_IS_FATAL ANY)
