# clang-format and clang-tidy as tests, in the versions that scripts/tools.txt pins and scripts/setup installs; and the
# reference of the installed headers, in which every name is documented.
find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)
enable_testing()

add_test(NAME style.format
         COMMAND "${Python3_EXECUTABLE}" "${CMAKE_SOURCE_DIR}/scripts/checks/format.py"
                 --clang-format "${SYMBOLOGY_CACHE}/tools/bin/clang-format")
add_test(NAME style.tidy
         COMMAND "${Python3_EXECUTABLE}" "${CMAKE_SOURCE_DIR}/scripts/checks/tidy.py"
                 --clang-tidy "${SYMBOLOGY_CACHE}/tools/bin/clang-tidy" --cache "${SYMBOLOGY_CACHE}/tidy"
                 --database "${CMAKE_BINARY_DIR}/compile_commands.json")
add_test(NAME style.the_checks_can_fail
         COMMAND "${Python3_EXECUTABLE}" "${CMAKE_SOURCE_DIR}/tests/tree/style_checks.py"
                 "${SYMBOLOGY_CACHE}/tools/bin/clang-format" "${SYMBOLOGY_CACHE}/tools/bin/clang-tidy")
find_program(SYMBOLOGY_DOXYGEN doxygen REQUIRED)
file(MAKE_DIRECTORY "${CMAKE_SOURCE_DIR}/build/reference")
add_test(NAME style.reference COMMAND "${SYMBOLOGY_DOXYGEN}" docs/Doxyfile WORKING_DIRECTORY "${CMAKE_SOURCE_DIR}")
set_tests_properties(style.reference style.format style.tidy style.the_checks_can_fail PROPERTIES LABELS style)
set_tests_properties(style.tidy PROPERTIES TIMEOUT 3600 PROCESSORS 2)
