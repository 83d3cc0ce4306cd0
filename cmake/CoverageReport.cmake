# coverage-report: what the tests that ran so far reached, as a summary and as pages in the build folder.
add_custom_target(coverage-report
  COMMAND "${CMAKE_COMMAND}" -E make_directory "${CMAKE_BINARY_DIR}/coverage"
  COMMAND "${SYMBOLOGY_CACHE}/tools/bin/gcovr" --root "${CMAKE_SOURCE_DIR}" --object-directory "${CMAKE_BINARY_DIR}"
          --filter "${CMAKE_SOURCE_DIR}/platform/" --filter "${CMAKE_SOURCE_DIR}/src/" --filter "${CMAKE_SOURCE_DIR}/host/" --filter "${CMAKE_SOURCE_DIR}/tools/"
          --exclude-throw-branches --exclude-unreachable-branches --gcov-ignore-parse-errors=all
          --html-details "${CMAKE_BINARY_DIR}/coverage/index.html" --txt "${CMAKE_BINARY_DIR}/coverage/summary.txt"
          --print-summary
  COMMAND "${CMAKE_COMMAND}" -E cat "${CMAKE_BINARY_DIR}/coverage/summary.txt"
  VERBATIM USES_TERMINAL)
