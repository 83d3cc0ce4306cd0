/* Rule documents at work on streams of Apache Arrow data, for C and everything that can call C.
 *
 * The library is libsymbology_c. Handles are opaque; nothing of C++ crosses. Texts are UTF-8 and end with a zero. A
 * function that can fail takes `error`, which may be NULL: on failure it gets an object that the caller frees with
 * symbology_error_free(), on success it is left alone. Unless a function says otherwise, NULL handles are answered with
 * 0, NULL or an error, never with a crash.
 *
 * A document may be used from any thread, also while streams that it symbolizes are read. A run and an error belong to
 * one thread at a time.
 *
 * A document with expressions needs an initialised Python in the process (3.10 or later), and no caller may hold its
 * lock; where there is no Python it does not load. One without expressions never asks.
 */
#ifndef SYMBOLOGY_SYMBOLOGY_H
#define SYMBOLOGY_SYMBOLOGY_H

#include <stddef.h>
#include <stdint.h>

/* NOLINTBEGIN(readability-identifier-naming,modernize-use-using): it is C, with the names that C libraries have */

#ifdef __cplusplus
extern "C" {
#endif

#define SYMBOLOGY_C_VERSION 1

#ifndef SYMBOLOGY_C_API
#define SYMBOLOGY_C_API __attribute__((visibility("default")))
#endif

/* Arrow's C stream interface: any header that declares it. */
struct ArrowArrayStream;

/** A loaded rule document. */
typedef struct symbology_document symbology_document;
/** What a run over a stream has to tell. */
typedef struct symbology_run symbology_run;
/** Why something failed. */
typedef struct symbology_error symbology_error;

/** SYMBOLOGY_C_VERSION of the library that is loaded: it grows with additions; what is here stays. */
SYMBOLOGY_C_API int symbology_version(void);

/** Loads a document.
 *  \param path the file.
 *  \return the document, for symbology_close(); NULL when it cannot be read, is not well-formed or does not load. */
SYMBOLOGY_C_API symbology_document* symbology_open(const char* path, symbology_error** error);

/** Lets go of a document. Streams that it symbolizes may be read on. NULL is passed over. */
SYMBOLOGY_C_API void symbology_close(symbology_document* document);

/** How many feature classes the document configures. */
SYMBOLOGY_C_API size_t symbology_class_count(const symbology_document* document);

/** The name of a class, as the document writes it, in the order of names.
 *  \return a text that lives as long as the document; NULL when there is no such class. */
SYMBOLOGY_C_API const char* symbology_class_name(const symbology_document* document, size_t index);

/** A table that rules ask about. */
typedef struct symbology_related {
    const char* name;                /**< as rules write it, in any case */
    struct ArrowArrayStream* stream; /**< moved from, also on failure */
} symbology_related;

/** How a stream is symbolized. Fill with zeros, set `size`, then what is wanted. */
typedef struct symbology_options {
    size_t size;                      /**< sizeof(symbology_options): says which of the members below there are */
    const char* layer;                /**< the feature class, in any case */
    const char* subtype_field;        /**< the column with the subtypes' codes; NULL for none */
    const symbology_related* related; /**< tables that rules ask about; NULL for none */
    size_t related_count;             /**< how many these are */
    int ledger;                       /**< whether it is counted how rows end */
    int coverage; /**< whether it is counted what rows put to the test; everything is evaluated for it */
} symbology_options;

/** Makes `output` a stream that gives the batches of `input` with what the document writes, one for one.
 *  \param input moved from, also on failure. \param output released by the caller, at any time; rows are symbolized
 * while it is read, by a thread of its own. Columns that the document does not write pass through without a copy.
 *  \return what the run will have to tell, for symbology_run_free(), before or after the output's end; NULL on failure
 * (no such class, a column that cannot be written, options of an unknown size), and `output` is left alone. What goes
 * wrong later ends the output with an error, and symbology_run_failure() has it, too. */
SYMBOLOGY_C_API symbology_run* symbology_symbolize_stream(const symbology_document* document,
                                                          struct ArrowArrayStream* input,
                                                          const symbology_options* options,
                                                          struct ArrowArrayStream* output, symbology_error** error);

/** Whether the run is over. What follows is 0 or empty before that. */
SYMBOLOGY_C_API int symbology_run_ended(const symbology_run* run);
/** Rows that were symbolized, and those of them that got other values than they had. */
SYMBOLOGY_C_API int64_t symbology_run_rows(const symbology_run* run);
SYMBOLOGY_C_API int64_t symbology_run_changed(const symbology_run* run);
/** Why the stream ended early; empty when it did not. This and the texts below live as long as the run's object. */
SYMBOLOGY_C_API const char* symbology_run_failure(symbology_run* run);
/** How many different messages there are. */
SYMBOLOGY_C_API size_t symbology_run_message_count(symbology_run* run);
/** A message, in the order of their first coming. \param times how often it came; may be NULL. \return NULL when there
 * is none. */
SYMBOLOGY_C_API const char* symbology_run_message(symbology_run* run, size_t index, uint64_t* times);
/** JSON as `cxml ledger --json` and `cxml coverage --json` write it; empty when it was not asked for. */
SYMBOLOGY_C_API const char* symbology_run_ledger_json(symbology_run* run);
SYMBOLOGY_C_API const char* symbology_run_coverage_json(symbology_run* run);
/** NULL is passed over. The output may be read on. */
SYMBOLOGY_C_API void symbology_run_free(symbology_run* run);

/** One line for people, which names the file, class, column or table. */
SYMBOLOGY_C_API const char* symbology_error_text(const symbology_error* error);
/** The document's path when it did not load, else empty. */
SYMBOLOGY_C_API const char* symbology_error_file(const symbology_error* error);
/** NULL is passed over. */
SYMBOLOGY_C_API void symbology_error_free(symbology_error* error);

#ifdef __cplusplus
}
#endif

/* NOLINTEND(readability-identifier-naming,modernize-use-using) */

#endif
