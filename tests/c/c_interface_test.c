/* The C interface as a C program uses it: a stream in, a stream out, and every wrong argument. */
#include "symbology/symbology.h"

#include <nanoarrow.h>
#include <stdio.h>
#include <string.h>

static int failures = 0;

#define EXPECT(condition)                                                      \
    do {                                                                       \
        if (!(condition)) {                                                    \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition);    \
            ++failures;                                                        \
        }                                                                      \
    } while (0)

/* A stream of two rows with a column COLOUR. */
static void make_stream(struct ArrowArrayStream* stream) {
    struct ArrowSchema schema;
    struct ArrowArray array;
    ArrowSchemaInit(&schema);
    EXPECT(ArrowSchemaSetTypeStruct(&schema, 1) == 0);
    EXPECT(ArrowSchemaSetType(schema.children[0], NANOARROW_TYPE_STRING) == 0);
    EXPECT(ArrowSchemaSetName(schema.children[0], "COLOUR") == 0);
    EXPECT(ArrowArrayInitFromSchema(&array, &schema, NULL) == 0);
    EXPECT(ArrowArrayStartAppending(&array) == 0);
    EXPECT(ArrowArrayAppendString(array.children[0], ArrowCharView("3")) == 0);
    EXPECT(ArrowArrayAppendString(array.children[0], ArrowCharView("4")) == 0);
    array.length = 2;
    EXPECT(ArrowArrayFinishBuildingDefault(&array, NULL) == 0);
    EXPECT(ArrowBasicArrayStreamInit(stream, &schema, 1) == 0);
    ArrowBasicArrayStreamSetArray(stream, 0, &array);
}

static symbology_options options_for(const char* layer) {
    symbology_options options;
    memset(&options, 0, sizeof options);
    options.size = sizeof options;
    options.layer = layer;
    options.ledger = 1;
    return options;
}

static int is_about(const symbology_error* error, const char* words) {
    if (strstr(symbology_error_text(error), words)) return 1;
    fprintf(stderr, "the error is \"%s\"\n", symbology_error_text(error));
    return 0;
}

static void test_documents(const char* rules) {
    symbology_error* error = NULL;
    EXPECT(symbology_version() == SYMBOLOGY_C_VERSION);
    EXPECT(symbology_open(NULL, NULL) == NULL);
    EXPECT(symbology_open("missing.cxml", &error) == NULL);
    EXPECT(is_about(error, "missing.cxml"));
    EXPECT(strcmp(symbology_error_file(error), "missing.cxml") == 0);
    symbology_error_free(error);
    symbology_document* document = symbology_open(rules, NULL);
    EXPECT(document != NULL);
    EXPECT(symbology_class_count(document) == 2);
    EXPECT(strcmp(symbology_class_name(document, 0), "BOYLAT") == 0);
    EXPECT(symbology_class_name(document, 2) == NULL);
    EXPECT(symbology_class_count(NULL) == 0);
    EXPECT(symbology_class_name(NULL, 0) == NULL);
    symbology_close(document);
    symbology_close(NULL);
    symbology_error_free(NULL);
    EXPECT(strcmp(symbology_error_text(NULL), "") == 0);
    EXPECT(strcmp(symbology_error_file(NULL), "") == 0);
}

/* This program has no Python. */
static void test_expressions(const char* rules) {
    symbology_error* error = NULL;
    EXPECT(symbology_open(rules, &error) == NULL);
    EXPECT(is_about(error, "There is no Python in this process"));
    symbology_error_free(error);
}

static void test_streams(const char* rules) {
    struct ArrowArrayStream input, output;
    struct ArrowSchema schema;
    struct ArrowArray batch;
    symbology_options options = options_for("boylat");
    symbology_error* error = NULL;
    symbology_document* document = symbology_open(rules, NULL);
    make_stream(&input);
    symbology_run* run = symbology_symbolize_stream(document, &input, &options, &output, &error);
    EXPECT(run != NULL && error == NULL);
    symbology_close(document); /* streams may be read on */
    EXPECT(input.release == NULL);
    EXPECT(symbology_run_ended(run) == 0);
    EXPECT(strcmp(symbology_run_ledger_json(run), "") == 0);
    EXPECT(output.get_schema(&output, &schema) == 0);
    EXPECT(schema.n_children == 5);
    EXPECT(strcmp(schema.children[1]->name, "SYMBOL_C") == 0);
    EXPECT(output.get_next(&output, &batch) == 0);
    EXPECT(batch.length == 2);
    EXPECT(memcmp(batch.children[1]->buffers[2], "BOYREDBOYDEF", 12) == 0);
    EXPECT(((const double*)batch.children[4]->buffers[1])[0] == 45);
    batch.release(&batch);
    EXPECT(output.get_next(&output, &batch) == 0);
    EXPECT(batch.release == NULL);
    EXPECT(symbology_run_ended(run) == 1);
    EXPECT(symbology_run_rows(run) == 2);
    EXPECT(symbology_run_changed(run) == 2);
    EXPECT(strcmp(symbology_run_failure(run), "") == 0);
    EXPECT(strstr(symbology_run_ledger_json(run), "\"BOYRED\"") != NULL);
    EXPECT(strcmp(symbology_run_coverage_json(run), "") == 0);
    EXPECT(symbology_run_message_count(run) == 2); /* the field OBJNAM lacks: for the row, and for the question */
    uint64_t times = 0;
    EXPECT(strstr(symbology_run_message(run, 0, &times), "OBJNAM") != NULL);
    EXPECT(times == 2);
    EXPECT(strstr(symbology_run_message(run, 1, NULL), "OBJNAM") != NULL);
    EXPECT(symbology_run_message(run, 2, NULL) == NULL);
    schema.release(&schema);
    symbology_run_free(run);
    output.release(&output);
}

/* One wrong thing after the other. */
static void expect_refused(const symbology_document* document, const symbology_options* options, const char* words) {
    struct ArrowArrayStream input, output;
    symbology_error* error = NULL;
    memset(&output, 0, sizeof output);
    make_stream(&input);
    EXPECT(symbology_symbolize_stream(document, &input, options, &output, &error) == NULL);
    EXPECT(is_about(error, words));
    EXPECT(output.release == NULL);
    symbology_error_free(error);
    EXPECT(symbology_symbolize_stream(document, &input, options, &output, NULL) == NULL);
    if (input.release) input.release(&input);
}

static void test_wrong_arguments(const char* rules) {
    symbology_document* document = symbology_open(rules, NULL);
    symbology_options options = options_for("BOYLAT");
    symbology_related related = {"TOPMAR", NULL};
    expect_refused(NULL, &options, "missing");
    expect_refused(document, NULL, "missing");
    EXPECT(symbology_symbolize_stream(document, NULL, &options, NULL, NULL) == NULL);
    options.size = 8;
    expect_refused(document, &options, "size is 8");
    options = options_for(NULL);
    expect_refused(document, &options, "no layer");
    options = options_for("LNDMRK");
    expect_refused(document, &options, "LNDMRK");
    options = options_for("BOYLAT");
    options.subtype_field = "NOSUCH";
    expect_refused(document, &options, "NOSUCH");
    options = options_for("BOYLAT");
    options.related_count = 1;
    expect_refused(document, &options, "lack the related tables");
    options.related = &related;
    expect_refused(document, &options, "related table 1");
    EXPECT(symbology_run_ended(NULL) == 0);
    EXPECT(symbology_run_rows(NULL) == 0);
    EXPECT(symbology_run_changed(NULL) == 0);
    EXPECT(strcmp(symbology_run_failure(NULL), "") == 0);
    EXPECT(symbology_run_message_count(NULL) == 0);
    EXPECT(symbology_run_message(NULL, 0, NULL) == NULL);
    EXPECT(strcmp(symbology_run_ledger_json(NULL), "") == 0);
    EXPECT(strcmp(symbology_run_coverage_json(NULL), "") == 0);
    symbology_run_free(NULL);
    symbology_close(document);
}

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    test_documents(argv[1]);
    test_expressions(argv[2]);
    test_streams(argv[1]);
    test_wrong_arguments(argv[1]);
    return failures == 0 ? 0 : 1;
}
