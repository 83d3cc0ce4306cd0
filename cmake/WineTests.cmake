# Tests on Windows: GoogleTest from its source package, every program run under Wine in a prefix of the build folder.
# One test of CTest is one program, because starting one takes Wine longer than most cases do; the cases are in the
# program's report, build/.../reports/NAME.xml, which scripts/test counts.
find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)
set(wine_runner "${Python3_EXECUTABLE}" "${CMAKE_SOURCE_DIR}/scripts/checks/wine.py" --work "${CMAKE_BINARY_DIR}")

set(SYMBOLOGY_GOOGLETEST_SOURCE /usr/src/googletest CACHE PATH "Where the sources of GoogleTest are")
set(INSTALL_GTEST OFF)
add_subdirectory("${SYMBOLOGY_GOOGLETEST_SOURCE}" "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)

function(add_wine_test name)
  set(report "${CMAKE_BINARY_DIR}/reports/${name}.xml")
  add_test(NAME ${name}
           COMMAND ${wine_runner} --limit 900 --report "${report}"
                   "$<TARGET_FILE:${name}>" "--gtest_output=xml:Z:${report}")
  set_tests_properties(${name} PROPERTIES TIMEOUT 960 LABELS wine)
endfunction()
