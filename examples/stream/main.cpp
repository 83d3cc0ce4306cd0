// Symbolizes a stream of Arrow data with one call, and prints the symbols and what was said:
//   symbology_stream DOCUMENT
// The stream is made here, by hand and in one batch: BOYLAT with the columns CATLAM and COLOUR. Programs that have
// Arrow take theirs from it, such as arrow::ExportRecordBatchReader.
#include "arrow_stream.h"

#include <symbology/arrow.h>

#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace {

// Four buoys. What the stream shows lives as long as the program, so that there is nothing to release but the marks.
std::array<std::int32_t, 4> categories{1, 2, 1, 4};
std::array<std::int32_t, 5> colourEnds{0, 1, 2, 3, 4};
constexpr const char* colours = "3441";

template <class Any>
void markReleased(Any* object) {
    object->release = nullptr;
}

int giveSchema(ArrowArrayStream*, ArrowSchema* out) {
    constexpr std::int64_t nullable = 2;
    static ArrowSchema category{"i", "CATLAM", nullptr, nullable, 0, nullptr, nullptr, markReleased, nullptr};
    static ArrowSchema colour{"u", "COLOUR", nullptr, nullable, 0, nullptr, nullptr, markReleased, nullptr};
    static ArrowSchema* columns[] = {&category, &colour};
    category.release = colour.release = markReleased;
    *out = {"+s", "", nullptr, 0, 2, columns, nullptr, markReleased, nullptr};
    return 0;
}

int giveNext(ArrowArrayStream* stream, ArrowArray* out) {
    std::memset(out, 0, sizeof *out);
    if (stream->private_data) return 0;  // the end
    stream->private_data = stream;
    static const void* categoryBuffers[] = {nullptr, categories.data()};
    static const void* colourBuffers[] = {nullptr, colourEnds.data(), colours};
    static const void* noBuffers[] = {nullptr};
    constexpr auto rows = static_cast<std::int64_t>(categories.size());
    static ArrowArray category{rows, 0, 0, 2, 0, categoryBuffers, nullptr, nullptr, markReleased, nullptr};
    static ArrowArray colour{rows, 0, 0, 3, 0, colourBuffers, nullptr, nullptr, markReleased, nullptr};
    static ArrowArray* columns[] = {&category, &colour};
    *out = {rows, 0, 0, 1, 2, noBuffers, columns, nullptr, markReleased, nullptr};
    return 0;
}

ArrowArrayStream buoys() {
    return {giveSchema, giveNext, [](ArrowArrayStream*) -> const char* { return nullptr; }, markReleased, nullptr};
}

/// Reads the stream to its end and prints a column of texts. \return whether it came to its end.
bool show(ArrowArrayStream& stream, const char* column) {
    ArrowSchema schema{};
    if (stream.get_schema(&stream, &schema) != 0) return false;
    std::int64_t index = 0;
    while (index < schema.n_children && std::strcmp(schema.children[index]->name, column) != 0) ++index;
    const bool isThere = index < schema.n_children;
    schema.release(&schema);
    for (ArrowArray batch{}; isThere && stream.get_next(&stream, &batch) == 0;) {
        if (!batch.release) return true;
        const ArrowArray& texts = *batch.children[index];
        const auto* const ends = static_cast<const std::int32_t*>(texts.buffers[1]) + texts.offset;
        const auto* const bytes = static_cast<const char*>(texts.buffers[2]);
        for (std::int64_t row = 0; row < batch.length; ++row)
            std::printf("%.*s\n", ends[row + 1] - ends[row], bytes + ends[row]);
        batch.release(&batch);
    }
    const char* const error = stream.get_last_error(&stream);
    std::fprintf(stderr, "%s\n", error ? error : "there is no such column");
    return false;
}

bool run(const char* document) {
    ArrowArrayStream input = buoys();
    ArrowArrayStream output{};
    const symbology::arrow::Run run =
        symbology::arrow::symbolize(document, input, {.layer = "BOYLAT", .ledger = true}, output);
    const bool isWhole = show(output, "SYMBOL_C");
    output.release(&output);
    for (const symbology::arrow::Message& message : run.messages())
        std::fprintf(stderr, "%" PRIu64 " times %s\n", message.count, message.text.c_str());
    std::printf("%" PRId64 " rows, %" PRId64 " changed\n", run.rows(), run.changed());
    return isWhole;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: symbology_stream DOCUMENT\n", stderr);
        return 2;
    }
    try {
        return run(argv[1]) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    }
}
