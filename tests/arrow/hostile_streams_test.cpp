// Streams that are not what their schema says, and producers that fail: a clear error, no crash, nothing left.
#include "arrow/made_stream.h"
#include "host/host_error.h"
#include "tools/streams/stream_document.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <utility>

namespace {

using cxml::StreamDocument;
using cxml::StreamOptions;
using embedded_host::HostError;

// A producer that gives one good batch, and then what a test wants.
struct Producer {
    nanoarrow::UniqueSchema schema;
    std::vector<nanoarrow::UniqueArray> batches;
    std::size_t next = 0;
    int status = 0;  // at the end
    const char* error = nullptr;

    static nanoarrow::UniqueArrayStream stream(std::unique_ptr<Producer> self) {
        nanoarrow::UniqueArrayStream stream;
        stream->get_schema = [](ArrowArrayStream* one, ArrowSchema* schema) {
            return ArrowSchemaDeepCopy(of(one).schema.get(), schema);
        };
        stream->get_next = [](ArrowArrayStream* one, ArrowArray* array) {
            Producer& producer = of(one);
            array->release = nullptr;
            if (producer.next < producer.batches.size()) {
                producer.batches[producer.next++].move(array);
                return 0;
            }
            return producer.status;
        };
        stream->get_last_error = [](ArrowArrayStream* one) { return of(one).error; };
        stream->release = [](ArrowArrayStream* one) {
            delete &of(one);
            one->release = nullptr;
        };
        stream->private_data = self.release();
        return stream;
    }
    static Producer& of(ArrowArrayStream* stream) { return *static_cast<Producer*>(stream->private_data); }
};

std::vector<MadeColumn> columns(const std::string& format, bool isDictionary) {
    return {{"COLOUR",
             format,
             {std::string("3"), std::string("a longer text than a view has room for"), null},
             isDictionary},
            {"OBJNAM", "u", {null, null, null}}};
}

struct HostileCase {
    const char* name;
    const char* format;
    std::function<void(ArrowArray&)> spoil;  // of the second batch
    const char* expected;
    bool isDictionary = false;
};

void PrintTo(const HostileCase& test, std::ostream* out) {
    *out << test.name;
}

class Hostile : public testing::TestWithParam<HostileCase> {};

TEST_P(Hostile, StreamsEndWithAnError) {
    const HostileCase& test = GetParam();
    const StreamDocument document(TEST_DATA_DIR "/rules.cxml");
    auto producer = std::make_unique<Producer>();
    const std::vector<MadeColumn> made = columns(test.format, test.isDictionary);
    producer->schema = schemaOf(made);
    producer->batches.push_back(batchOf(made, 0, 3));
    producer->batches.push_back(batchOf(made, 0, 3));
    test.spoil(*producer->batches.back().get());
    nanoarrow::UniqueArrayStream input = Producer::stream(std::move(producer));
    nanoarrow::UniqueArrayStream output;
    StreamOptions options;
    options.layer = "BOYLAT";
    const auto report = document.symbolize(*input.get(), options, *output.get());
    const ReadTable table = readAll(*output.get());
    EXPECT_EQ(table.status, EIO);
    EXPECT_EQ(table.batches.size(), 1U);  // what went before stays
    EXPECT_NE(table.error.find(test.expected), std::string::npos) << table.error;
    EXPECT_NE(report->failure().find(test.expected), std::string::npos) << report->failure();
}

template <class T>
T* bufferOf(ArrowArray& array, int buffer) {
    return static_cast<T*>(const_cast<void*>(array.buffers[buffer]));
}

INSTANTIATE_TEST_SUITE_P(
    Batches, Hostile,
    testing::Values(
        HostileCase{"negative_length", "u", [](ArrowArray& batch) { batch.length = -1; }, "-1 rows"},
        HostileCase{"negative_offset", "u", [](ArrowArray& batch) { batch.offset = -1; }, "rows cannot be"},
        HostileCase{"more_rows_than_values", "u", [](ArrowArray& batch) { batch.length = 4; },
                    "column 'COLOUR': a batch of 4 rows has 3 values of it"},
        HostileCase{"offset_beyond_the_values", "u", [](ArrowArray& batch) { batch.offset = 2; },
                    "column 'COLOUR': a batch of 3 rows has 3 values of it"},
        HostileCase{"negative_length_of_a_column", "u", [](ArrowArray& batch) { batch.children[0]->length = -3; },
                    "column 'COLOUR'"},
        HostileCase{"negative_offset_of_a_column", "u", [](ArrowArray& batch) { batch.children[0]->offset = -3; },
                    "column 'COLOUR'"},
        HostileCase{"far_offset_of_a_column", "u",
                    [](ArrowArray& batch) { batch.children[0]->offset = std::int64_t{1} << 62; }, "column 'COLOUR'"},
        HostileCase{"rows_that_are_null", "u", [](ArrowArray& batch) { batch.null_count = 1; }, "NULL as a whole"},
        HostileCase{"fewer_buffers", "u", [](ArrowArray& batch) { batch.children[0]->n_buffers = 1; },
                    "column 'COLOUR'"},
        HostileCase{"no_buffers", "u",
                    [](ArrowArray& batch) {
                        batch.children[0]->n_buffers = 0;
                        batch.children[0]->buffers = nullptr;
                    },
                    "column 'COLOUR'"},
        HostileCase{"no_offsets", "u", [](ArrowArray& batch) { batch.children[0]->buffers[1] = nullptr; },
                    "column 'COLOUR'"},
        HostileCase{"no_text", "u", [](ArrowArray& batch) { batch.children[0]->buffers[2] = nullptr; },
                    "column 'COLOUR'"},
        HostileCase{"offsets_out_of_order", "u",
                    [](ArrowArray& batch) { bufferOf<std::int32_t>(*batch.children[0], 1)[1] = 50; },
                    "column 'COLOUR'"},
        HostileCase{"negative_offsets", "u",
                    [](ArrowArray& batch) { bufferOf<std::int32_t>(*batch.children[0], 1)[0] = -30; },
                    "column 'COLOUR'"},
        HostileCase{"large_offsets_out_of_order", "U",
                    [](ArrowArray& batch) { bufferOf<std::int64_t>(*batch.children[0], 1)[2] = 0; }, "column 'COLOUR'"},
        HostileCase{"index_beyond_the_dictionary", "u",
                    [](ArrowArray& batch) { bufferOf<std::int32_t>(*batch.children[0], 1)[0] = 2; }, "column 'COLOUR'",
                    true},
        HostileCase{"negative_index", "u",
                    [](ArrowArray& batch) { bufferOf<std::int32_t>(*batch.children[0], 1)[1] = -1; }, "column 'COLOUR'",
                    true},
        HostileCase{"view_into_no_buffer", "vu",
                    [](ArrowArray& batch) { bufferOf<ArrowBinaryView>(*batch.children[0], 1)[1].ref.buffer_index = 5; },
                    "has its text in no buffer"},
        HostileCase{"view_beyond_its_buffer", "vu",
                    [](ArrowArray& batch) { bufferOf<ArrowBinaryView>(*batch.children[0], 1)[1].ref.offset = 1000; },
                    "has its text in no buffer"},
        HostileCase{"view_of_negative_size", "vu",
                    [](ArrowArray& batch) { bufferOf<ArrowBinaryView>(*batch.children[0], 1)[0].inlined.size = -4; },
                    "has its text in no buffer"},
        HostileCase{"view_without_buffers", "vu", [](ArrowArray& batch) { batch.children[0]->n_buffers = 2; },
                    "column 'COLOUR': the array lacks buffers"}),
    [](const auto& test) { return test.param.name; });

ReadTable readOf(std::unique_ptr<Producer> producer) {
    const StreamDocument document(TEST_DATA_DIR "/rules.cxml");
    nanoarrow::UniqueArrayStream input = Producer::stream(std::move(producer));
    nanoarrow::UniqueArrayStream output;
    StreamOptions options;
    options.layer = "BOYLAT";
    document.symbolize(*input.get(), options, *output.get());
    return readAll(*output.get());
}

TEST(Producers, ThatFailInMidStreamAreQuoted) {
    for (const char* text : {static_cast<const char*>(nullptr), "the network is gone"}) {
        auto producer = std::make_unique<Producer>();
        producer->schema = schemaOf(columns("u", false));
        producer->batches.push_back(batchOf(columns("u", false), 0, 3));
        producer->status = EIO;
        producer->error = text;
        const ReadTable table = readOf(std::move(producer));
        EXPECT_EQ(table.status, EIO);
        EXPECT_EQ(table.batches.size(), 1U);
        EXPECT_NE(table.error.find("the stream cannot be read"), std::string::npos) << table.error;
        if (text) {
            EXPECT_NE(table.error.find(text), std::string::npos) << table.error;
        }
    }
}

TEST(Producers, OfOtherColumnsThanTheirSchemaAreRefused) {
    auto producer = std::make_unique<Producer>();
    std::vector<MadeColumn> more = columns("u", false);
    more.push_back({"MORE", "i", {}});
    producer->schema = schemaOf(more);
    producer->batches.push_back(batchOf(columns("u", false), 0, 3));
    const ReadTable table = readOf(std::move(producer));
    EXPECT_EQ(table.status, EIO);
    EXPECT_NE(table.error.find("a batch has 2 columns, the stream 3"), std::string::npos) << table.error;
}

TEST(Producers, WithoutASchemaAreRefused) {
    const StreamDocument document(TEST_DATA_DIR "/rules.cxml");
    const auto refused = [&](const std::function<void(ArrowSchema&)>& spoil) {
        auto producer = std::make_unique<Producer>();
        producer->schema = schemaOf(columns("u", false));
        spoil(*producer->schema.get());
        nanoarrow::UniqueArrayStream input = Producer::stream(std::move(producer));
        nanoarrow::UniqueArrayStream output;
        StreamOptions options;
        options.layer = "BOYLAT";
        std::string text;
        try {
            document.symbolize(*input.get(), options, *output.get());
        } catch (const HostError& error) {
            text = error.what();
        }
        EXPECT_EQ(input->release, nullptr);
        EXPECT_EQ(output->release, nullptr);
        return text;
    };
    EXPECT_NE(refused([](ArrowSchema& schema) {
                  ASSERT_EQ(ArrowSchemaSetFormat(&schema, "u"), 0);
              }).find("not one of record batches"),
              std::string::npos);
    EXPECT_NE(refused([](ArrowSchema& schema) {
                  ASSERT_EQ(ArrowSchemaSetFormat(schema.children[0], "?!"), 0);
              }).find("column 'COLOUR'"),
              std::string::npos);
    nanoarrow::UniqueArrayStream nothing;
    nanoarrow::UniqueArrayStream output;
    StreamOptions options;
    options.layer = "BOYLAT";
    EXPECT_THROW(document.symbolize(*nothing.get(), options, *output.get()), HostError);
    options.layer = "LNDMRK";
    nanoarrow::UniqueArrayStream input = streamOf(columns("u", false));
    EXPECT_THROW(document.symbolize(*input.get(), options, *output.get()), HostError);
}

}  // namespace
