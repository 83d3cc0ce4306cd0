/* One call that symbolizes a dataset, for C and everything that can call C: a GeoPackage, an SQLite file, or a database
 * on a PostgreSQL server. What it does stands in symbology/geodatabase.h.
 *
 * The library is libsymbology_geodatabase, which is linked with GDAL; streams of symbology/symbology.h are another
 * library's, which is not. One program may use both. Handles are opaque; nothing of C++ crosses. Texts are UTF-8 and
 * end with a zero. A function that can fail takes `error`, which may be NULL: on failure it gets an object that the
 * caller frees with symbology_dataset_error_free(), on success it is left alone. NULL handles, and indexes beyond the
 * end, are answered with 0, NULL or "", never with a crash.
 *
 * An outcome and an error belong to one thread at a time.
 */
#ifndef SYMBOLOGY_GEODATABASE_C_H
#define SYMBOLOGY_GEODATABASE_C_H

#include <stddef.h>
#include <stdint.h>

/* NOLINTBEGIN(readability-identifier-naming,modernize-use-using): it is C, with the names that C libraries have */

#ifdef __cplusplus
extern "C" {
#endif

#define SYMBOLOGY_DATASET_VERSION 1

#ifndef SYMBOLOGY_DATASET_API
#define SYMBOLOGY_DATASET_API __attribute__((visibility("default")))
#endif

/** What became of a dataset's layers. */
typedef struct symbology_dataset_outcome symbology_dataset_outcome;
/** Why nothing was run. */
typedef struct symbology_dataset_error symbology_dataset_error;

/** SYMBOLOGY_DATASET_VERSION of the library that is loaded: it grows with additions; what is here stays. */
SYMBOLOGY_DATASET_API int symbology_dataset_version(void);

/** The field with the subtypes' codes of a layer. */
typedef struct symbology_dataset_subtypes {
    const char* layer; /**< its name */
    const char* field; /**< a column of whole numbers */
} symbology_dataset_subtypes;

/** Told of each text when it first comes, on the thread of the call. \param source the layer, the document's path while
 *  it loads, or empty. \return 0; any other number ends the call: the layer that runs is rolled back, no other one
 * runs, and the call fails. It must not call symbology_dataset_symbolize(). */
typedef int (*symbology_dataset_listener)(void* context, const char* source, const char* text);

/** How a dataset is symbolized. Fill with zeros, set `size`, then what is wanted. */
typedef struct symbology_dataset_options {
    size_t size;               /**< sizeof(symbology_dataset_options): says which of the members below there are */
    const char* const* layers; /**< run in this order; NULL: all that the document configures */
    size_t layer_count;        /**< how many these are */
    int add_missing_fields;    /**< whether the fields that the document writes are added where they lack */
    const char* where;         /**< the rows to visit, as an SQL condition of the dataset; NULL: all */
    const symbology_dataset_subtypes* subtypes; /**< for layers whose dataset does not say; NULL for none */
    size_t subtypes_count;                      /**< how many these are */
    const double* lock_timeout; /**< seconds, 0 to a million, to wait for what someone else has locked; NULL: as
                                     symbology/geodatabase.h says */
    symbology_dataset_listener listener; /**< NULL for none */
    void* context;                       /**< the listener's */
} symbology_dataset_options;

/** Decides the symbols of the dataset's rows and writes them, each layer all or nothing. May be called from any thread;
 *  calls of several threads run one after the other. A document with expressions needs a Python that the process has
 *  initialised, and whose lock the caller does not hold.
 *  \param dataset a path, or "PG:" with a connection string. \param document the path of a rule document. \param
 * options NULL for none of them.
 *  \return what became of the layers, for symbology_dataset_outcome_free(), also where runs failed; NULL, and no row
 * has been changed, when the document does not load, or the dataset cannot be opened or written or lacks a layer or
 * field. NULL as well when the listener has ended the call, or memory was short: layers that had ended before keep
 * their symbols. */
SYMBOLOGY_DATASET_API symbology_dataset_outcome* symbology_dataset_symbolize(const char* dataset, const char* document,
                                                                             const symbology_dataset_options* options,
                                                                             symbology_dataset_error** error);

/** Whether any layer's run failed. */
SYMBOLOGY_DATASET_API int symbology_dataset_failed(const symbology_dataset_outcome* outcome);
/** How many layers were run, in the order of their runs. */
SYMBOLOGY_DATASET_API size_t symbology_dataset_layer_count(const symbology_dataset_outcome* outcome);
/** Texts live as long as the outcome. \return NULL when there is no such layer. */
SYMBOLOGY_DATASET_API const char* symbology_dataset_layer_name(const symbology_dataset_outcome* outcome, size_t layer);
/** Why the layer's run failed, its rows being what they were; empty when it did not. */
SYMBOLOGY_DATASET_API const char* symbology_dataset_layer_failure(const symbology_dataset_outcome* outcome,
                                                                  size_t layer);
/** Rows that were visited, and those that were written. */
SYMBOLOGY_DATASET_API int64_t symbology_dataset_layer_rows(const symbology_dataset_outcome* outcome, size_t layer);
SYMBOLOGY_DATASET_API int64_t symbology_dataset_layer_changed(const symbology_dataset_outcome* outcome, size_t layer);
/** Rows with a value that is not of its field's type, and with one that a field did not take. \param ids the first 20
 *  of their ids; may be NULL. \param count how many these are; may be NULL. */
SYMBOLOGY_DATASET_API int64_t symbology_dataset_layer_unreadable(const symbology_dataset_outcome* outcome, size_t layer,
                                                                 const int64_t** ids, size_t* count);
SYMBOLOGY_DATASET_API int64_t symbology_dataset_layer_refused(const symbology_dataset_outcome* outcome, size_t layer,
                                                              const int64_t** ids, size_t* count);
/** What was said of a layer, each text once. \param times how often it came; may be NULL. \return NULL when there is no
 *  such message. */
SYMBOLOGY_DATASET_API size_t symbology_dataset_message_count(const symbology_dataset_outcome* outcome, size_t layer);
SYMBOLOGY_DATASET_API const char* symbology_dataset_message(const symbology_dataset_outcome* outcome, size_t layer,
                                                            size_t index, uint64_t* times);
/** What was said while the document loaded. */
SYMBOLOGY_DATASET_API size_t symbology_dataset_document_message_count(const symbology_dataset_outcome* outcome);
SYMBOLOGY_DATASET_API const char* symbology_dataset_document_message(const symbology_dataset_outcome* outcome,
                                                                     size_t index, uint64_t* times);
/** NULL is passed over. */
SYMBOLOGY_DATASET_API void symbology_dataset_outcome_free(symbology_dataset_outcome* outcome);

/** One line for people, which names the file, dataset, layer or field. */
SYMBOLOGY_DATASET_API const char* symbology_dataset_error_text(const symbology_dataset_error* error);
/** NULL is passed over. */
SYMBOLOGY_DATASET_API void symbology_dataset_error_free(symbology_dataset_error* error);

#ifdef __cplusplus
}
#endif

/* NOLINTEND(readability-identifier-naming,modernize-use-using) */

#endif
