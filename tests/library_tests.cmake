# The tests of the library's own parts: one program over the in-memory host.
add_library(library_test_support STATIC support/documents.cpp)
target_compile_definitions(library_test_support PRIVATE TESTS_DIR="${tests_dir}")
target_link_libraries(library_test_support PUBLIC test_support memhost velcore tarnlib)

# A DOM whose calls fail has the operations of the portable platform's interfaces, not the many more of MSXML's.
if(NOT WIN32)
  set(library_tests_dom api/dom_faults_test.cpp api/load_failures_test.cpp cxml/dom_test.cpp cxml/faulty_dom.cpp)
else()
  set(library_tests_dom api/msxml_memory_test.cpp)
endif()

symbology_test(library_tests
  SOURCES
    ${object_counters}
    api/faults_test.cpp
    api/load_test.cpp
    api/manager_test.cpp
    api/memory_test.cpp
    api/reset_test.cpp
    api/symbolize_test.cpp
    api/table_field_test.cpp
    cxml/condition_evaluate_test.cpp
    cxml/condition_map_test.cpp
    cxml/condition_test.cpp
    cxml/expression_source_test.cpp
    cxml/feature_class_rule_test.cpp
    gdb/product_files_test.cpp
    gdb/table_manager_test.cpp
    gdb/workspace_utilities_test.cpp
    memhost/memhost_test.cpp
    rules/attribute_rules_test.cpp
    rules/compare_test.cpp
    rules/like_test.cpp
    rules/list_attribute_rules_test.cpp
    rules/query_failures_test.cpp
    rules/query_rules_test.cpp
    rules/rule_test.cpp
    rules/where_template_test.cpp
    support/operator_new.cpp
    symbolize/condition_memory_test.cpp
    symbolize/evaluation_observer_test.cpp
    symbolize/random_documents_test.cpp
    symbolize/reference_model.cpp
    symbolize/remembered_answers_test.cpp
    symbolize/row_fields_test.cpp
    symbolize/row_symbolization_test.cpp
    symbolize/run_memory_test.cpp
    symbolize/runs_test.cpp
    symbolize/single_row_test.cpp
    symbolize/value_table_test.cpp
    text/failures_test.cpp
    ${library_tests_dom}
    support/interpreter.cpp
  LIBS symbology_core library_test_support cxpython)

# The same library as hosts link it.
symbology_test(exported_class_test
  SOURCES ${object_counters} api/exported_class_test.cpp support/interpreter.cpp
  LIBS symbology library_test_support cxpython)

if(WIN32)
  find_program(SYMBOLOGY_CXXFILT x86_64-w64-mingw32-c++filt REQUIRED)
  set(exports "-DCXXFILT=${SYMBOLOGY_CXXFILT}" "-DDEFINITION=${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/symbology.def")
else()
  set(exports "-DNM=${CMAKE_NM}" "-DLIBRARY=$<TARGET_FILE:symbology>")
endif()
add_test(NAME exported_symbols
         COMMAND "${CMAKE_COMMAND}" ${exports} "-DLIST=${CMAKE_CURRENT_SOURCE_DIR}/api/data/exported_symbols.txt"
                 -P "${CMAKE_CURRENT_SOURCE_DIR}/api/check_exports.cmake")
