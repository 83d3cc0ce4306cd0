// Streams, with the C interface.
#include "conformance/hosts.h"
#include "symbology/symbology.h"

#include <nanoarrow.hpp>

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace conformance {
namespace {

void require(ArrowErrorCode status) {
    if (status != NANOARROW_OK) throw std::runtime_error("the test's own stream cannot be made");
}

std::int64_t momentOf(const std::string& text) {
    const auto number = [&](std::size_t at, std::size_t digits) { return std::stoi(text.substr(at, digits)); };
    const std::chrono::sys_days day{std::chrono::year{number(0, 4)} / number(5, 2) / number(8, 2)};
    if (text.size() == 10) return day.time_since_epoch().count();
    const int seconds = (number(11, 2) * 60 + number(14, 2)) * 60 + number(17, 2);
    return std::int64_t{day.time_since_epoch().count()} * 86'400'000 + std::int64_t{seconds} * 1000 + number(20, 3);
}

std::string textOfMoment(std::int64_t milliseconds, bool withTime) {
    using namespace std::chrono;
    const sys_time<std::chrono::milliseconds> moment{std::chrono::milliseconds{milliseconds}};
    const auto day = floor<days>(moment);
    const year_month_day date{day};
    const hh_mm_ss time{moment - day};
    char text[64];
    const int length =
        std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02ld:%02ld:%02ld.%03ld", static_cast<int>(date.year()),
                      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                      static_cast<long>(time.hours().count()), static_cast<long>(time.minutes().count()),
                      static_cast<long>(time.seconds().count()), static_cast<long>(time.subseconds().count()));
    return {text, withTime ? static_cast<std::size_t>(length) : 10U};
}

void setType(ArrowSchema& schema, Type type) {
    switch (type) {
        case Type::Small:
            return require(ArrowSchemaSetType(&schema, NANOARROW_TYPE_INT16));
        case Type::Integer:
            return require(ArrowSchemaSetType(&schema, NANOARROW_TYPE_INT32));
        case Type::Big:
            return require(ArrowSchemaSetType(&schema, NANOARROW_TYPE_INT64));
        case Type::Real:
            return require(ArrowSchemaSetType(&schema, NANOARROW_TYPE_DOUBLE));
        case Type::Float:
            return require(ArrowSchemaSetType(&schema, NANOARROW_TYPE_FLOAT));
        case Type::Text:
            return require(ArrowSchemaSetType(&schema, NANOARROW_TYPE_STRING));
        case Type::Boolean:
            return require(ArrowSchemaSetType(&schema, NANOARROW_TYPE_BOOL));
        case Type::Date:
            return require(ArrowSchemaSetType(&schema, NANOARROW_TYPE_DATE32));
        case Type::Moment:
            return require(
                ArrowSchemaSetTypeDateTime(&schema, NANOARROW_TYPE_TIMESTAMP, NANOARROW_TIME_UNIT_MILLI, nullptr));
    }
}

void append(ArrowArray& array, Type type, const Value& value) {
    if (!value) return require(ArrowArrayAppendNull(&array, 1));
    switch (type) {
        case Type::Text:
            return require(ArrowArrayAppendString(&array, {value->data(), static_cast<std::int64_t>(value->size())}));
        case Type::Real:
            return require(ArrowArrayAppendDouble(&array, realOf(*value)));
        case Type::Float:
            return require(ArrowArrayAppendDouble(&array, floatOf(*value)));
        case Type::Date:
        case Type::Moment:
            return require(ArrowArrayAppendInt(&array, momentOf(*value)));
        default:
            return require(ArrowArrayAppendInt(&array, std::stoll(*value)));
    }
}

nanoarrow::UniqueSchema schemaOf(const Table& table) {
    nanoarrow::UniqueSchema schema;
    ArrowSchemaInit(schema.get());
    require(ArrowSchemaSetTypeStruct(schema.get(), static_cast<std::int64_t>(table.fields.size())));
    for (std::size_t i = 0; i < table.fields.size(); ++i) {
        setType(*schema->children[i], table.fields[i].type);
        require(ArrowSchemaSetName(schema->children[i], table.fields[i].name.c_str()));
    }
    return schema;
}

nanoarrow::UniqueArrayStream streamOf(const Table& table, std::size_t batchRows) {
    nanoarrow::UniqueSchema schema = schemaOf(table);
    std::vector<nanoarrow::UniqueArray> batches;
    for (std::size_t begin = 0; begin < table.rows.size(); begin += batchRows) {
        nanoarrow::UniqueArray batch;
        require(ArrowArrayInitFromSchema(batch.get(), schema.get(), nullptr));
        require(ArrowArrayStartAppending(batch.get()));
        const std::size_t end = std::min(table.rows.size(), begin + batchRows);
        for (std::size_t i = 0; i < table.fields.size(); ++i)
            for (std::size_t row = begin; row < end; ++row)
                append(*batch->children[i], table.fields[i].type, table.rows[row][i]);
        batch->length = static_cast<std::int64_t>(end - begin);
        require(ArrowArrayFinishBuildingDefault(batch.get(), nullptr));
        batches.push_back(std::move(batch));
    }
    nanoarrow::UniqueArrayStream stream;
    nanoarrow::VectorArrayStream(schema.get(), std::move(batches)).ToArrayStream(stream.get());
    return stream;
}

Type typeOf(const ArrowSchemaView& view) {
    switch (view.type) {
        case NANOARROW_TYPE_INT16:
            return Type::Small;
        case NANOARROW_TYPE_INT32:
            return Type::Integer;
        case NANOARROW_TYPE_INT64:
            return Type::Big;
        case NANOARROW_TYPE_DOUBLE:
            return Type::Real;
        case NANOARROW_TYPE_FLOAT:
            return Type::Float;
        case NANOARROW_TYPE_STRING:
            return Type::Text;
        case NANOARROW_TYPE_BOOL:
            return Type::Boolean;
        case NANOARROW_TYPE_DATE32:
            return Type::Date;
        case NANOARROW_TYPE_TIMESTAMP:
            return Type::Moment;
        default:
            throw std::runtime_error("a column of a type that nobody has put in");
    }
}

Value valueAt(const ArrowArrayView& view, std::int64_t row, Type type) {
    if (ArrowArrayViewIsNull(&view, row)) return std::nullopt;
    switch (type) {
        case Type::Text: {
            const ArrowStringView text = ArrowArrayViewGetStringUnsafe(&view, row);
            return std::string(text.data, static_cast<std::size_t>(text.size_bytes));
        }
        case Type::Real:
            return textOf(ArrowArrayViewGetDoubleUnsafe(&view, row));
        case Type::Float:
            return textOf(static_cast<float>(ArrowArrayViewGetDoubleUnsafe(&view, row)));
        case Type::Date:
            return textOfMoment(ArrowArrayViewGetIntUnsafe(&view, row) * 86'400'000, false);
        case Type::Moment:
            return textOfMoment(ArrowArrayViewGetIntUnsafe(&view, row), true);
        default:
            return std::to_string(ArrowArrayViewGetIntUnsafe(&view, row));
    }
}

// What is in the stream when it has been read to its end; why it ended early, else.
std::string readAll(ArrowArrayStream& stream, Table& table) {
    const auto whyFailed = [&] {
        const char* const text = stream.get_last_error(&stream);
        return std::string(text ? text : "no text");
    };
    nanoarrow::UniqueSchema schema;
    if (stream.get_schema(&stream, schema.get()) != 0) return whyFailed();
    nanoarrow::UniqueArrayView view;
    require(ArrowArrayViewInitFromSchema(view.get(), schema.get(), nullptr));
    for (std::int64_t i = 0; i < schema->n_children; ++i) {
        ArrowSchemaView column;
        require(ArrowSchemaViewInit(&column, schema->children[i], nullptr));
        table.fields.push_back({schema->children[i]->name, typeOf(column)});
    }
    for (;;) {
        nanoarrow::UniqueArray batch;
        if (stream.get_next(&stream, batch.get()) != 0) return whyFailed();
        if (!batch->release) return {};
        require(ArrowArrayViewSetArray(view.get(), batch.get(), nullptr));
        for (std::int64_t row = 0; row < batch->length; ++row) {
            std::vector<Value>& values = table.rows.emplace_back();
            for (std::size_t i = 0; i < table.fields.size(); ++i)
                values.push_back(valueAt(*view->children[i], row, table.fields[i].type));
        }
    }
}

std::runtime_error failureOf(symbology_error* error) {
    std::runtime_error failure(symbology_error_text(error));
    symbology_error_free(error);
    return failure;
}

class ArrowHost final : public Host {
public:
    explicit ArrowHost(std::size_t batchRows) : batchRows_(batchRows) {}

    std::string name() const override { return "Arrow, batches of " + std::to_string(batchRows_); }

    std::vector<LayerAnswer> run(const Case& which) override {
        symbology_error* error = nullptr;
        const std::unique_ptr<symbology_document, void (*)(symbology_document*)> document(
            symbology_open(which.document.c_str(), &error), symbology_close);
        if (!document) throw failureOf(error);
        std::vector<LayerAnswer> answers;
        for (const std::string& title : which.runs) answers.push_back(runTable(*document, which, which.ofTitle(title)));
        return answers;
    }

private:
    LayerAnswer runTable(const symbology_document& document, const Case& which, const Table& table) const {
        std::vector<nanoarrow::UniqueArrayStream> streams;
        std::vector<symbology_related> related;
        for (const Table& other : which.tables) streams.push_back(streamOf(other, batchRows_));
        for (std::size_t i = 0; i < streams.size(); ++i)
            related.push_back({which.tables[i].name.c_str(), streams[i].get()});
        symbology_options options{};
        options.size = sizeof options;
        options.layer = table.title.c_str();
        if (!table.subtypeField.empty()) options.subtype_field = table.subtypeField.c_str();
        options.related = related.data();
        options.related_count = related.size();
        const nanoarrow::UniqueArrayStream input = streamOf(table, batchRows_);
        nanoarrow::UniqueArrayStream output;
        symbology_error* error = nullptr;
        const std::unique_ptr<symbology_run, void (*)(symbology_run*)> run(
            symbology_symbolize_stream(&document, const_cast<ArrowArrayStream*>(input.get()), &options, output.get(),
                                       &error),
            symbology_run_free);
        if (!run) throw failureOf(error);
        LayerAnswer answer;
        answer.title = table.title;
        answer.after = {table.name, table.title, table.subtypeField, {}, {}};
        answer.failure = readAll(*output.get(), answer.after);
        if (!symbology_run_ended(run.get())) throw std::runtime_error("the stream is over and its run is not");
        answer.rows = symbology_run_rows(run.get());
        answer.changed = symbology_run_changed(run.get());
        for (std::size_t i = 0; i < symbology_run_message_count(run.get()); ++i) {
            std::uint64_t times = 0;
            const char* const text = symbology_run_message(run.get(), i, &times);
            answer.messages.emplace_back(text, times);
        }
        return answer;
    }

    std::size_t batchRows_;
};

}  // namespace

std::unique_ptr<Host> makeArrowHost(std::size_t batchRows) {
    return std::make_unique<ArrowHost>(batchRows);
}

}  // namespace conformance
