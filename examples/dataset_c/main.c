/* Symbolizes a dataset from C11, and prints what was said and what became of each layer:
 *   symbology_dataset_c DOCUMENT DATASET [LAYER...] */
#include <symbology/geodatabase_c.h>

#include <inttypes.h>
#include <stdio.h>
#include <string.h>

static int show(void* stream, const char* source, const char* text) {
    fprintf(stream, "%s: %s\n", source, text);
    return 0;
}

int main(int argc, char** argv) {
    if (argc < 3) {
        fputs("usage: symbology_dataset_c DOCUMENT DATASET [LAYER...]\n", stderr);
        return 2;
    }
    symbology_dataset_options options;
    memset(&options, 0, sizeof options);
    options.size = sizeof options;
    options.layers = (const char* const*)(argv + 3);
    options.layer_count = (size_t)(argc - 3);
    options.add_missing_fields = 1;
    options.listener = show;
    options.context = stderr;

    symbology_dataset_error* error = NULL;
    symbology_dataset_outcome* outcome = symbology_dataset_symbolize(argv[2], argv[1], &options, &error);
    if (!outcome) {
        fprintf(stderr, "%s\n", symbology_dataset_error_text(error));
        symbology_dataset_error_free(error);
        return 2;
    }
    for (size_t layer = 0; layer < symbology_dataset_layer_count(outcome); ++layer) {
        const char* failure = symbology_dataset_layer_failure(outcome, layer);
        printf("%s: %" PRId64 " rows, %" PRId64 " changed%s%s\n", symbology_dataset_layer_name(outcome, layer),
               symbology_dataset_layer_rows(outcome, layer), symbology_dataset_layer_changed(outcome, layer),
               *failure ? "; failed: " : "", failure);
    }
    const int failed = symbology_dataset_failed(outcome);
    symbology_dataset_outcome_free(outcome);
    return failed;
}
