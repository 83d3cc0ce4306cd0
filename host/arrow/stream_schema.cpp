#include "host/arrow/stream_schema.h"

#include "host/arrow/arrow_error.h"
#include "host/geodatabase/base/text.h"

#include <algorithm>
#include <utility>

namespace embedded_host {
namespace {

// Rows of a stream have numbers and no key that anybody could name.
constexpr const char* noKey = "";

std::vector<Column> columnsOf(const std::vector<StreamField>& fields) {
    std::vector<Column> columns;
    columns.reserve(fields.size());
    for (const StreamField& field : fields) columns.push_back(field.column());
    return columns;
}

std::size_t columnsIn(const ArrowSchema& schema) {
    if (!schema.format || std::string_view(schema.format) != "+s" || (schema.n_children > 0 && !schema.children))
        throw HostError("the stream has no columns: it is not one of record batches");
    for (std::int64_t i = 0; i < schema.n_children; ++i)
        if (!schema.children[i] || !schema.children[i]->format)
            throw HostError("column " + std::to_string(i + 1) + " of the stream has no type");
    return static_cast<std::size_t>(schema.n_children);
}

}  // namespace

StreamSchema::StreamSchema(nanoarrow::UniqueSchema given, const std::vector<FieldRequest>& writes)
    : given_(std::move(given)), givenCount_(columnsIn(*given_.get())) {
    for (std::size_t i = 0; i < givenCount_; ++i) fields_.emplace_back(*given_->children[i]);
    const TableSchema known(columnsOf(fields_), noKey);
    written_.resize(givenCount_);
    std::vector<FieldRequest> added;
    for (const FieldRequest& write : writes) {
        const WideString name = toWide(write.name);
        const LONG position = known.find(name);
        if (position < 0 || std::cmp_greater_equal(position, givenCount_)) {
            const auto same = [&](const FieldRequest& other) {
                return upperCased(toWide(other.name)) == upperCased(name);
            };
            if (std::ranges::none_of(added, same)) added.push_back(write);
            continue;
        }
        const StreamField& field = fields_[static_cast<std::size_t>(position)];
        if (!field.isWritable())
            throw HostError("column '" + field.column().name + "' cannot be written: it is of type " +
                            field.typeName() + "; cast it, or leave it out");
        written_[static_cast<std::size_t>(position)] = true;
    }
    makeResult(added);
    for (std::size_t i = givenCount_; i < givenCount_ + added.size(); ++i) {
        fields_.emplace_back(*result_->children[i]);
        written_.push_back(true);
    }
    table_ = std::make_shared<const TableSchema>(columnsOf(fields_), noKey);
}

void StreamSchema::makeResult(const std::vector<FieldRequest>& added) {
    const auto count = static_cast<std::int64_t>(givenCount_ + added.size());
    ArrowSchemaInit(result_.get());
    expect(ArrowSchemaSetTypeStruct(result_.get(), count));
    expect(ArrowSchemaSetMetadata(result_.get(), given_->metadata));
    result_->flags = given_->flags;
    for (std::size_t i = 0; i < givenCount_; ++i) {
        ArrowSchema* const child = result_->children[i];
        child->release(child);
        const ArrowSchema* const from = given_->children[i];
        const bool plain = written_[i] && from->dictionary;
        expect(ArrowSchemaDeepCopy(plain ? from->dictionary : from, child));
        if (plain) expect(ArrowSchemaSetName(child, from->name));
        if (written_[i]) child->flags |= ARROW_FLAG_NULLABLE;
    }
    for (std::size_t i = 0; i < added.size(); ++i) {
        ArrowSchema* const child = result_->children[givenCount_ + i];
        expect(ArrowSchemaSetType(child,
                                  added[i].kind == FieldKind::Real ? NANOARROW_TYPE_DOUBLE : NANOARROW_TYPE_STRING));
        expect(ArrowSchemaSetName(child, added[i].name.c_str()));
    }
}

}  // namespace embedded_host
