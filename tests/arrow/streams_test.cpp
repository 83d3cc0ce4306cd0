// Documents at work on streams: what comes out, what passes through, what is told.
#include "arrow/made_stream.h"
#include "host/arrow/symbolized_stream.h"
#include "host/host_error.h"
#include "tools/streams/stream_document.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <array>
#include <cerrno>
#include <thread>
#include <utility>

namespace {

using cxml::StreamDocument;
using cxml::StreamOptions;
using cxml::StreamReport;
using embedded_host::HostError;

const std::string rules = TEST_DATA_DIR "/rules.cxml";

std::vector<MadeColumn> buoys() {
    return {{"OBJNAM", "u", {std::string("No 1"), std::string("No 2"), std::string("No 3"), null, std::string("No 5")}},
            {"COLOUR", "u", {std::string("3"), std::string("4"), std::string("3"), null, std::string("3")}},
            {"shape", "z", {std::string("\x01\x02"), null, std::string("\x03"), null, null}}};
}

struct Outcome {
    ReadTable table;
    std::shared_ptr<StreamReport> report;
};

Outcome run(const StreamDocument& document, nanoarrow::UniqueArrayStream input, const StreamOptions& options) {
    nanoarrow::UniqueArrayStream output;
    Outcome run;
    run.report = document.symbolize(*input.get(), options, *output.get());
    EXPECT_EQ(input->release, nullptr);
    EXPECT_FALSE(run.report->isEnded());
    run.table = readAll(*output.get());
    return run;
}

StreamOptions optionsFor(const std::string& layer) {
    StreamOptions options;
    options.layer = layer;
    return options;
}

using Texts = std::vector<std::string>;

TEST(Streams, GetSymbolsAndPlacements) {
    const StreamDocument document(rules);
    for (const std::size_t rowsOfABatch : {0U, 1U, 2U, 3U}) {
        nanoarrow::UniqueArrayStream topmarks = streamOf({{"MASTER", "u", {std::string("No 5"), std::string("No 9")}}});
        StreamOptions options = optionsFor("boylat");
        options.related.emplace_back("TOPMAR", topmarks.get());
        const Outcome result = run(document, streamOf(buoys(), rowsOfABatch), options);
        ASSERT_EQ(result.table.error, "");
        EXPECT_EQ(result.table.names,
                  (Texts{"OBJNAM", "COLOUR", "shape", "SYMBOL_C", "Xoffset_C", "Yoffset_C", "Rotate_C"}));
        EXPECT_EQ(result.table["SYMBOL_C"], (Texts{"BOYRED", "BOYDEF", "BOYRED", "BOYDEF", "BOYTOP"}));
        EXPECT_EQ(result.table["Rotate_C"], (Texts{"45.000000", "NULL", "45.000000", "NULL", "NULL"}));
        EXPECT_EQ(result.table["OBJNAM"], (Texts{"No 1", "No 2", "No 3", "NULL", "No 5"}));
        const std::size_t batches = rowsOfABatch == 0 ? 1 : (5 + rowsOfABatch - 1) / rowsOfABatch;
        EXPECT_EQ(result.table.batches.size(), batches);
        EXPECT_TRUE(result.report->isEnded());
        EXPECT_EQ(result.report->failure(), "");
        EXPECT_EQ(result.report->rows(), 5);
        EXPECT_EQ(result.report->changed(), 5);
        EXPECT_TRUE(result.report->messages().empty());
        EXPECT_NE(result.report->ledgerJson().find(R"("rule":3,"default":2)"), std::string::npos)
            << result.report->ledgerJson();
        EXPECT_EQ(result.report->coverageJson(), "");
    }
}

TEST(Streams, CountWhatRowsPutToTheTest) {
    const StreamDocument document(rules);
    StreamOptions options = optionsFor("BOYLAT");
    options.coverage = true;
    const Outcome result = run(document, streamOf(buoys(), 2), options);
    EXPECT_EQ(result.table["SYMBOL_C"], (Texts{"BOYRED", "BOYDEF", "BOYRED", "BOYDEF", "BOYRED"}));
    EXPECT_NE(result.report->coverageJson().find("\"measures\""), std::string::npos);
    EXPECT_NE(result.report->coverageText(), "");
}

TEST(Streams, PassColumnsThroughWithoutACopy) {
    const StreamDocument document(rules);
    nanoarrow::UniqueArray batch = batchOf(buoys(), 0, 5);
    std::array<const void*, 3> before{};
    for (std::size_t i = 0; i < before.size(); ++i) before.at(i) = batch->children[i]->buffers[1];
    nanoarrow::UniqueSchema schema = schemaOf(buoys());
    std::vector<nanoarrow::UniqueArray> batches;
    batches.push_back(std::move(batch));
    nanoarrow::UniqueArrayStream input;
    nanoarrow::VectorArrayStream(schema.get(), std::move(batches)).ToArrayStream(input.get());
    nanoarrow::UniqueArrayStream output;
    document.symbolize(*input.get(), optionsFor("BOYLAT"), *output.get());
    nanoarrow::UniqueArray result;
    ASSERT_EQ(output->get_next(output.get(), result.get()), 0);
    for (std::size_t i = 0; i < before.size(); ++i) EXPECT_EQ(result->children[i]->buffers[1], before.at(i)) << i;
}

TEST(Streams, LeaveWhatIsRightAlready) {
    const StreamDocument document(rules);
    std::vector<MadeColumn> columns = buoys();
    columns.push_back(
        {"SYMBOL_C", "u", {std::string("BOYRED"), std::string("BOYDEF"), std::string("old"), null, null}});
    columns.push_back({"Rotate_C", "g", {45.0, 10.0, null, null, null}});
    const Outcome result = run(document, streamOf(columns), optionsFor("BOYLAT"));
    EXPECT_EQ(result.table["SYMBOL_C"], (Texts{"BOYRED", "BOYDEF", "BOYRED", "BOYDEF", "BOYRED"}));
    EXPECT_EQ(result.table["Rotate_C"], (Texts{"45.000000", "10.000000", "45.000000", "NULL", "45.000000"}));
    EXPECT_EQ(result.report->changed(), 3);
}

TEST(Streams, ComputeFieldsWithPython) {
    const StreamDocument document(rules);
    const Outcome result = run(document, streamOf({{"HEIGHT", "g", {12.5, null, -1.0}}}), optionsFor("LIGHTS"));
    EXPECT_EQ(result.table["LABEL"], (Texts{"12.5m", "NULL", "NULL"}));
    EXPECT_EQ(result.table["SYMBOL_C"], (Texts{"LIGHT", "LIGHT", "LIGHT"}));
}

TEST(Streams, AskTheirOwnRowsWhereTheyAreGivenTwice) {
    const StreamDocument document(rules);
    const std::vector<MadeColumn> twins{{"NAME", "u", {std::string("a"), std::string("b")}},
                                        {"OTHER", "u", {std::string("b"), std::string("c")}}};
    nanoarrow::UniqueArrayStream again = streamOf(twins);
    StreamOptions options = optionsFor("TWINS");
    options.related.emplace_back("TWINS", again.get());
    const Outcome result = run(document, streamOf(twins, 1), options);
    EXPECT_EQ(result.table["SYMBOL_C"], (Texts{"TWIN", "NULL"}));
    const Outcome alone = run(document, streamOf(twins, 1), optionsFor("TWINS"));
    EXPECT_EQ(alone.table.status, EIO);
    EXPECT_NE(alone.table.error.find("give them as a related table, too"), std::string::npos) << alone.table.error;
    EXPECT_EQ(alone.report->failure(), alone.table.error);
}

TEST(Streams, GoOnAfterAQuestionThatIsNoSql) {
    const StreamDocument document(rules);
    const std::vector<MadeColumn> twins{{"NAME", "u", {std::string("a"), std::string("b"), std::string("c")}},
                                        {"OTHER", "u", {std::string("O'Neill"), std::string("a"), std::string("d")}}};
    nanoarrow::UniqueArrayStream again = streamOf(twins);
    StreamOptions options = optionsFor("TWINS");
    options.related.emplace_back("TWINS", again.get());
    const Outcome result = run(document, streamOf(twins, 1), options);
    EXPECT_EQ(result.table.status, 0) << result.table.error;
    EXPECT_EQ(result.report->failure(), "");
    EXPECT_EQ(result.table["SYMBOL_C"], (Texts{"NULL", "TWIN", "NULL"})) << "a rule that cannot be asked is false";
}

/// A question about another table that finds no memory is no false answer.
TEST(Streams, EndWithAQuestionThatFindsNoMemory) {
    const StreamDocument document(TEST_DATA_DIR "/hungry.cxml");
    nanoarrow::UniqueArrayStream lights = streamOf({{"NAME", "u", {std::string("a")}}});
    StreamOptions options = optionsFor("BUOYS");
    options.related.emplace_back("LIGHTS", lights.get());
    const std::int64_t before = sqlite3_hard_heap_limit64(16'000'000);
    const Outcome result = run(document, streamOf({{"NAME", "u", {std::string("a")}}}), options);
    sqlite3_hard_heap_limit64(before);
    EXPECT_EQ(result.table.status, ENOMEM);
    EXPECT_EQ(result.report->failure(), "out of memory");
    // Where there is enough, the answer is another.
    nanoarrow::UniqueArrayStream more = streamOf({{"NAME", "u", {std::string("a")}}});
    options.related = {{"LIGHTS", more.get()}};
    EXPECT_EQ(run(document, streamOf({{"NAME", "u", {std::string("a")}}}), options).table["SYMBOL_C"],
              (Texts{"ASKED"}));
}

TEST(Streams, MayBeEmpty) {
    const StreamDocument document(rules);
    const Outcome result = run(document, streamOf({{"COLOUR", "u", {}}}), optionsFor("BOYLAT"));
    EXPECT_EQ(result.table.error, "");
    EXPECT_TRUE(result.table.batches.empty());
    EXPECT_EQ(result.table.names.size(), 5U);
    EXPECT_EQ(result.report->rows(), 0);
}

TEST(Streams, MayBeLetGoOfAtAnyTime) {
    const StreamDocument document(rules);
    for (const int batches : {0, 1, 2}) {
        nanoarrow::UniqueArrayStream input = streamOf(buoys(), 1);
        nanoarrow::UniqueArrayStream output;
        const std::shared_ptr<StreamReport> report =
            document.symbolize(*input.get(), optionsFor("BOYLAT"), *output.get());
        for (int i = 0; i < batches; ++i) {
            nanoarrow::UniqueArray batch;
            ASSERT_EQ(output->get_next(output.get(), batch.get()), 0);
        }
        output.reset();
        EXPECT_EQ(report->isEnded(), batches != 0);
    }
}

TEST(Streams, EndTogetherWhenTheProcessDoes) {
    const StreamDocument document(rules);
    nanoarrow::UniqueArrayStream inputs[] = {streamOf(buoys(), 1), streamOf(buoys(), 1)};
    nanoarrow::UniqueArrayStream outputs[2];
    for (int i = 0; i < 2; ++i) document.symbolize(*inputs[i].get(), optionsFor("BOYLAT"), *outputs[i].get());
    nanoarrow::UniqueArray batch;
    ASSERT_EQ(outputs[0]->get_next(outputs[0].get(), batch.get()), 0);
    embedded_host::endAllStreams();
    EXPECT_NE(readAll(*outputs[0].get()).status, 0);
    EXPECT_EQ(readAll(*outputs[1].get()).status, ECANCELED);
}

// Interleaved, and on threads of their own: each run has the document for itself.
TEST(Streams, OfOneDocumentRunAtTheSameTime) {
    const StreamDocument document(rules);
    nanoarrow::UniqueArrayStream inputs[] = {streamOf(buoys(), 1), streamOf(buoys(), 1)};
    nanoarrow::UniqueArrayStream outputs[2];
    for (int i = 0; i < 2; ++i) document.symbolize(*inputs[i].get(), optionsFor("BOYLAT"), *outputs[i].get());
    for (int row = 0; row < 5; ++row)
        for (nanoarrow::UniqueArrayStream& output : outputs) {
            nanoarrow::UniqueArray batch;
            ASSERT_EQ(output->get_next(output.get(), batch.get()), 0);
            ASSERT_EQ(batch->length, 1);
        }
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&document] {
            for (int j = 0; j < 5; ++j) {
                const Outcome result = run(document, streamOf(buoys(), 2), optionsFor("BOYLAT"));
                EXPECT_EQ(result.table["SYMBOL_C"], (Texts{"BOYRED", "BOYDEF", "BOYRED", "BOYDEF", "BOYRED"}));
            }
        });
    for (std::thread& thread : threads) thread.join();
}

TEST(StreamDocuments, TellWhatTheyConfigure) {
    const StreamDocument document(rules);
    EXPECT_EQ(document.classes(), (Texts{"BOYLAT", "LIGHTS", "TWINS"}));
    EXPECT_EQ(document.fields("lights").written, (Texts{"SYMBOL_C", "Xoffset_C", "Yoffset_C", "Rotate_C", "LABEL"}));
    EXPECT_EQ(document.fields("BOYLAT").read, (Texts{"COLOUR", "OBJNAM"}));
    EXPECT_THROW(document.fields("LNDMRK"), HostError);
    EXPECT_TRUE(document.messages().empty());
}

TEST(StreamDocuments, ThatDoNotLoadSayWhy) {
    try {
        const StreamDocument document(TEST_DATA_DIR "/broken.cxml");
        FAIL();
    } catch (const cxml::NotLoaded& error) {
        EXPECT_EQ(error.file(), TEST_DATA_DIR "/broken.cxml");
        EXPECT_NE(std::string(error.what()).find("Line 2"), std::string::npos) << error.what();
    }
}

TEST(StreamDocuments, ExplainRows) {
    const StreamDocument document(rules);
    nanoarrow::UniqueArrayStream input = streamOf(buoys(), 2);
    const auto some = document.explain(*input.get(), optionsFor("BOYLAT"), {3, 2, 99}, 20);
    ASSERT_EQ(some.size(), 2U);
    EXPECT_EQ(some[0].row, 2);
    EXPECT_EQ(some[1].row, 3);
    EXPECT_NE(some[1].text.find("BOYRED"), std::string::npos) << some[1].text;
    EXPECT_NE(some[1].json.find("\"decides\""), std::string::npos) << some[1].json;
    input = streamOf(buoys(), 2);
    EXPECT_EQ(document.explain(*input.get(), optionsFor("BOYLAT"), {}, 4).size(), 4U);
}

}  // namespace
