/* The one call as a C program uses it, and every wrong argument:
 *   dataset_interface_test DOCUMENT DATASET SPEAKING
 * A document for the harbour's lateral buoys, its chart, not symbolized, and a document of which there is something to
 * say, while it loads and in each row. */
#include "symbology/geodatabase_c.h"
#include "symbology/symbology.h" /* both fit into one program */

#include <stdio.h>
#include <string.h>

static int failures = 0;

#define EXPECT(condition)                                                   \
    do {                                                                    \
        if (!(condition)) {                                                 \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
            ++failures;                                                     \
        }                                                                   \
    } while (0)

static symbology_dataset_options no_options(void) {
    symbology_dataset_options options;
    memset(&options, 0, sizeof options);
    options.size = sizeof options;
    return options;
}

/* Whether the call fails, and says so with these words. */
static int is_refused(const char* document, const char* dataset, const symbology_dataset_options* options,
                      const char* words) {
    symbology_dataset_error* error = NULL;
    symbology_dataset_outcome* outcome = symbology_dataset_symbolize(dataset, document, options, &error);
    const int refused = !outcome && strstr(symbology_dataset_error_text(error), words) != NULL;
    if (!refused) fprintf(stderr, "the error is \"%s\"\n", symbology_dataset_error_text(error));
    symbology_dataset_error_free(error);
    symbology_dataset_outcome_free(outcome);
    return refused;
}

static void test_wrong_arguments(const char* document, const char* dataset) {
    EXPECT(is_refused(NULL, dataset, NULL, "missing"));
    EXPECT(is_refused(document, NULL, NULL, "missing"));
    EXPECT(is_refused("nowhere.cxml", dataset, NULL, "nowhere.cxml"));
    EXPECT(is_refused(document, "nowhere.gpkg", NULL, "nowhere.gpkg"));
    EXPECT(symbology_dataset_symbolize("nowhere.gpkg", document, NULL, NULL) == NULL);
    symbology_dataset_options options = no_options();
    options.size = 3;
    EXPECT(is_refused(document, dataset, &options, "size is 3"));
    options = no_options();
    options.layer_count = 1;
    EXPECT(is_refused(document, dataset, &options, "lack the layers"));
    const char* layers[] = {"BOYLAT", NULL};
    options.layers = layers;
    options.layer_count = 2;
    EXPECT(is_refused(document, dataset, &options, "layer 2"));
    layers[1] = "SEXTANT";
    EXPECT(is_refused(document, dataset, &options, "SEXTANT"));
    options = no_options();
    options.where = " ";
    EXPECT(is_refused(document, dataset, &options, "condition for rows is empty"));
    options = no_options();
    options.subtypes_count = 1;
    EXPECT(is_refused(document, dataset, &options, "lack the subtype fields"));
    const symbology_dataset_subtypes nameless = {"BOYLAT", NULL};
    options.subtypes = &nameless;
    EXPECT(is_refused(document, dataset, &options, "subtype field 1"));
    const symbology_dataset_subtypes wrong = {"BOYLAT", "SEXTANT"};
    options.subtypes = &wrong;
    EXPECT(is_refused(document, dataset, &options, "SEXTANT"));
    options = no_options();
    const double never = -1;
    options.lock_timeout = &never;
    EXPECT(is_refused(document, dataset, &options, "lock time-out"));
}

static void test_handles_that_are_not_there(void) {
    uint64_t times = 7;
    const int64_t* ids = &(const int64_t){3};
    size_t count = 7;
    EXPECT(symbology_dataset_failed(NULL) == 0);
    EXPECT(symbology_dataset_layer_count(NULL) == 0);
    EXPECT(symbology_dataset_layer_name(NULL, 0) == NULL);
    EXPECT(strcmp(symbology_dataset_layer_failure(NULL, 0), "") == 0);
    EXPECT(symbology_dataset_layer_rows(NULL, 0) == 0);
    EXPECT(symbology_dataset_layer_changed(NULL, 0) == 0);
    EXPECT(symbology_dataset_layer_unreadable(NULL, 0, &ids, &count) == 0);
    EXPECT(ids == NULL && count == 0);
    EXPECT(symbology_dataset_layer_refused(NULL, 0, NULL, NULL) == 0);
    EXPECT(symbology_dataset_message_count(NULL, 0) == 0);
    EXPECT(symbology_dataset_message(NULL, 0, 0, &times) == NULL);
    EXPECT(symbology_dataset_document_message_count(NULL) == 0);
    EXPECT(symbology_dataset_document_message(NULL, 0, &times) == NULL);
    EXPECT(times == 7);
    symbology_dataset_outcome_free(NULL);
    EXPECT(strcmp(symbology_dataset_error_text(NULL), "") == 0);
    symbology_dataset_error_free(NULL);
}

struct heard {
    int count;
    int end_at; /* 0: never */
    char last[200];
};

static int listen(void* context, const char* source, const char* text) {
    struct heard* heard = context;
    ++heard->count;
    snprintf(heard->last, sizeof heard->last, "%s: %s", source, text);
    return heard->count == heard->end_at;
}

static void test_listener_that_ends(const char* dataset, const char* speaking) {
    struct heard heard = {0, 1, ""};
    symbology_dataset_options options = no_options();
    options.add_missing_fields = 1;
    options.listener = listen;
    options.context = &heard;
    EXPECT(is_refused(speaking, dataset, &options, "listener has ended"));
    EXPECT(heard.count == 1);
}

static void test_runs(const char* document, const char* dataset, const char* speaking) {
    symbology_dataset_options options = no_options();
    const char* layers[] = {"BOYLAT"};
    const double timeout = 1.5;
    options.layers = layers;
    options.layer_count = 1;
    options.add_missing_fields = 1;
    options.where = "CATLAM = 1";
    options.lock_timeout = &timeout;
    symbology_dataset_outcome* outcome = symbology_dataset_symbolize(dataset, document, &options, NULL);
    EXPECT(outcome != NULL);
    EXPECT(symbology_dataset_failed(outcome) == 0);
    EXPECT(symbology_dataset_layer_count(outcome) == 1);
    EXPECT(strcmp(symbology_dataset_layer_name(outcome, 0), "BOYLAT") == 0);
    EXPECT(symbology_dataset_layer_name(outcome, 1) == NULL);
    const int64_t some = symbology_dataset_layer_rows(outcome, 0);
    EXPECT(some > 0 && symbology_dataset_layer_changed(outcome, 0) == some);
    EXPECT(symbology_dataset_message_count(outcome, 0) == 0);
    EXPECT(symbology_dataset_message(outcome, 0, 0, NULL) == NULL);
    symbology_dataset_outcome_free(outcome);

    struct heard heard = {0, 0, ""};
    options = no_options();
    options.listener = listen;
    options.context = &heard;
    outcome = symbology_dataset_symbolize(dataset, speaking, &options, NULL);
    EXPECT(symbology_dataset_layer_count(outcome) == 1);
    const int64_t all = symbology_dataset_layer_rows(outcome, 0);
    EXPECT(all > some);
    uint64_t times = 0;
    EXPECT(symbology_dataset_message_count(outcome, 0) >= 1);
    const char* message = symbology_dataset_message(outcome, 0, 0, &times);
    EXPECT(message && strstr(message, "SEXTANT") != NULL);
    EXPECT(times == (uint64_t)all);
    EXPECT(heard.count ==
           (int)symbology_dataset_message_count(outcome, 0) + (int)symbology_dataset_document_message_count(outcome));
    EXPECT(strstr(heard.last, "BOYLAT: ") == heard.last);
    uint64_t loaded = 0;
    message = symbology_dataset_document_message(outcome, 0, &loaded);
    EXPECT(message && strstr(message, "Discarding") != NULL && loaded == 1);
    symbology_dataset_outcome_free(outcome);
}

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    EXPECT(symbology_dataset_version() == SYMBOLOGY_DATASET_VERSION);
    test_handles_that_are_not_there();
    test_wrong_arguments(argv[1], argv[2]);
    test_listener_that_ends(argv[2], argv[3]);
    test_runs(argv[1], argv[2], argv[3]);
    return failures == 0 ? 0 : 1;
}
