# The tests of the library's own parts: one program over the in-memory host.
add_library(library_test_support STATIC support/documents.cpp)
target_compile_definitions(library_test_support PRIVATE TESTS_DIR="${CMAKE_CURRENT_SOURCE_DIR}")
target_link_libraries(library_test_support PUBLIC test_support memhost velcore tarnlib)

# These put themselves between the library and the portable platform: a DOM whose calls fail, BSTRs that run out.
if(NOT WIN32)
  set(library_tests_portable_platform api/faults_test.cpp api/memory_test.cpp api/load_test.cpp cxml/faulty_dom.cpp)
  # Documents with expressions are compiled when they load.
  set(library_tests_interpreter support/interpreter.cpp)
  set(library_tests_python cxpython)
endif()

symbology_test(library_tests
  SOURCES
    support/memhost_counter.cpp
    api/failures_test.cpp
    api/manager_test.cpp
    api/reset_test.cpp
    api/symbolize_test.cpp
    api/table_field_test.cpp
    cxml/condition_evaluate_test.cpp
    cxml/condition_map_test.cpp
    cxml/condition_test.cpp
    cxml/expression_source_test.cpp
    cxml/feature_class_rule_test.cpp
    gdb/product_files_test.cpp
    gdb/workspace_utilities_test.cpp
    memhost/memhost_test.cpp
    rules/attribute_rules_test.cpp
    rules/compare_test.cpp
    rules/like_test.cpp
    rules/list_attribute_rules_test.cpp
    rules/query_rules_test.cpp
    rules/rule_test.cpp
    rules/where_template_test.cpp
    symbolize/random_documents_test.cpp
    symbolize/reference_model.cpp
    symbolize/remembered_answers_test.cpp
    symbolize/row_symbolization_test.cpp
    symbolize/runs_test.cpp
    symbolize/table_manager_test.cpp
    ${library_tests_portable_platform}
    ${library_tests_interpreter}
  LIBS symbology_core library_test_support ${library_tests_python})

# The same library as hosts link it.
symbology_test(exported_class_test
  SOURCES support/memhost_counter.cpp api/exported_class_test.cpp ${library_tests_interpreter}
  LIBS symbology library_test_support ${library_tests_python})
if(NOT WIN32)
  add_test(NAME exported_symbols
           COMMAND "${CMAKE_COMMAND}" "-DNM=${CMAKE_NM}" "-DLIBRARY=$<TARGET_FILE:symbology>"
                   "-DLIST=${CMAKE_CURRENT_SOURCE_DIR}/api/data/exported_symbols.txt"
                   -P "${CMAKE_CURRENT_SOURCE_DIR}/api/check_exports.cmake")
endif()
