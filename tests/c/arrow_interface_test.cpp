// The C interface's classes for C++: a stream in, a stream out, and every failure.
#include "symbology/arrow.h"

#include <gtest/gtest.h>
#include <nanoarrow.hpp>

namespace {

using symbology::arrow::Document;
using symbology::arrow::Error;
using symbology::arrow::symbolize;

const std::string rules = TEST_DATA_DIR "/rules.cxml";

nanoarrow::UniqueArrayStream streamOf(const char* column, std::initializer_list<const char*> values) {
    nanoarrow::UniqueSchema schema;
    ArrowSchemaInit(schema.get());
    EXPECT_EQ(ArrowSchemaSetTypeStruct(schema.get(), 1), 0);
    EXPECT_EQ(ArrowSchemaSetType(schema->children[0], NANOARROW_TYPE_STRING), 0);
    EXPECT_EQ(ArrowSchemaSetName(schema->children[0], column), 0);
    nanoarrow::UniqueArray array;
    EXPECT_EQ(ArrowArrayInitFromSchema(array.get(), schema.get(), nullptr), 0);
    EXPECT_EQ(ArrowArrayStartAppending(array.get()), 0);
    for (const char* value : values) EXPECT_EQ(ArrowArrayAppendString(array->children[0], ArrowCharView(value)), 0);
    array->length = static_cast<std::int64_t>(values.size());
    EXPECT_EQ(ArrowArrayFinishBuildingDefault(array.get(), nullptr), 0);
    nanoarrow::UniqueArrayStream stream;
    EXPECT_EQ(ArrowBasicArrayStreamInit(stream.get(), schema.get(), 1), 0);
    ArrowBasicArrayStreamSetArray(stream.get(), 0, array.get());
    return stream;
}

/// The texts of a column; the last is the error of a stream that does not come to its end.
std::vector<std::string> read(ArrowArrayStream& stream, const std::string& column) {
    std::vector<std::string> texts;
    nanoarrow::UniqueSchema schema;
    if (stream.get_schema(&stream, schema.get()) != 0) return {stream.get_last_error(&stream)};
    nanoarrow::UniqueArrayView view;
    EXPECT_EQ(ArrowArrayViewInitFromSchema(view.get(), schema.get(), nullptr), 0);
    for (;;) {
        nanoarrow::UniqueArray batch;
        if (stream.get_next(&stream, batch.get()) != 0) {
            texts.emplace_back(stream.get_last_error(&stream));
            return texts;
        }
        if (!batch->release) return texts;
        EXPECT_EQ(ArrowArrayViewSetArray(view.get(), batch.get(), nullptr), 0);
        for (std::int64_t i = 0; i < schema->n_children; ++i)
            if (schema->children[i]->name == column)
                for (std::int64_t row = 0; row < batch->length; ++row) {
                    const ArrowStringView text = ArrowArrayViewGetStringUnsafe(view->children[i], row);
                    texts.emplace_back(text.data, static_cast<std::size_t>(text.size_bytes));
                }
    }
}

template <class Call>
std::string refusal(Call&& call) {
    try {
        call();
    } catch (const Error& error) {
        return error.what();
    }
    return "it went well";
}

using Texts = std::vector<std::string>;

TEST(ArrowClasses, SymbolizeWithOneCall) {
    nanoarrow::UniqueArrayStream input = streamOf("COLOUR", {"3", "4"});
    nanoarrow::UniqueArrayStream output;
    const symbology::arrow::Run run =
        symbolize(rules, *input.get(), {.layer = "boylat", .ledger = true, .coverage = true}, *output.get());
    EXPECT_FALSE(run.isEnded());
    EXPECT_EQ(run.rows(), 0);
    EXPECT_TRUE(run.messages().empty());
    EXPECT_EQ(read(*output.get(), "SYMBOL_C"), (Texts{"BOYRED", "BOYDEF"}));
    EXPECT_TRUE(run.isEnded());
    EXPECT_EQ(run.rows(), 2);
    EXPECT_EQ(run.changed(), 2);
    EXPECT_EQ(run.failure(), "");
    EXPECT_EQ(run.ledgerJson().front(), '{');
    EXPECT_EQ(run.coverageJson().front(), '{');
}

TEST(ArrowClasses, TellMessagesAndAskOtherTables) {
    const Document document(TEST_DATA_DIR "/topmarks.cxml");
    EXPECT_EQ(document.classes(), (Texts{"BOYLAT"}));
    nanoarrow::UniqueArrayStream input = streamOf("OBJNAM", {"No 1", "No 2"});
    nanoarrow::UniqueArrayStream topmarks = streamOf("MASTER", {"No 2"});
    nanoarrow::UniqueArrayStream output;
    const symbology::arrow::Run run =
        document.symbolize(*input.get(), {.layer = "BOYLAT", .related = {{"TOPMAR", topmarks.get()}}}, *output.get());
    EXPECT_EQ(topmarks->release, nullptr);
    EXPECT_EQ(read(*output.get(), "SYMBOL_C"), (Texts{"BOYDEF", "BOYTOP"}));
    ASSERT_EQ(run.messages().size(), 2U) << "the class lacks the field, and the rule that names it misses it";
    EXPECT_NE(run.messages().front().text.find("SEXTANT"), std::string::npos);
    EXPECT_EQ(run.messages().front().count, 2U);
    EXPECT_EQ(run.messages().back().count, 2U);
    EXPECT_EQ(run.ledgerJson(), "");
}

TEST(ArrowClasses, SayWhatCannotBeDone) {
    nanoarrow::UniqueArrayStream output;
    EXPECT_NE(refusal([] { Document("missing.cxml"); }).find("missing.cxml"), std::string::npos);
    try {
        Document("missing.cxml");
    } catch (const Error& error) {
        EXPECT_EQ(error.file(), "missing.cxml");
    }
    const Document document(rules);
    nanoarrow::UniqueArrayStream input = streamOf("COLOUR", {"3"});
    EXPECT_NE(refusal([&] { document.symbolize(*input.get(), {.layer = "SEXTANT"}, *output.get()); }).find("SEXTANT"),
              std::string::npos);
    EXPECT_EQ(output->release, nullptr);
    input = streamOf("COLOUR", {"3"});
    EXPECT_NE(refusal([&] {
                  document.symbolize(*input.get(), {.layer = "BOYLAT", .subtypeField = "KIND"}, *output.get());
              }).find("KIND"),
              std::string::npos);
}

TEST(ArrowClasses, MayEndBeforeTheirStreams) {
    nanoarrow::UniqueArrayStream output;
    {
        nanoarrow::UniqueArrayStream input = streamOf("COLOUR", {"3"});
        static_cast<void>(symbolize(rules, *input.get(), {.layer = "BOYLAT"}, *output.get()));
    }
    EXPECT_EQ(read(*output.get(), "SYMBOL_C"), (Texts{"BOYRED"}));
}

}  // namespace
