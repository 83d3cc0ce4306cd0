#include "outcome_spool.h"

#include <cerrno>
#include <system_error>

namespace cxml {

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

OutcomeSpool::OutcomeSpool() : file_(std::tmpfile()) {
    if (!file_) fail("a file for the first document's results cannot be made");
}

void OutcomeSpool::writeBytes(const void* bytes, std::size_t size) {
    if (std::fwrite(bytes, 1, size, file_.get()) != size) fail("the first document's results cannot be put aside");
}

void OutcomeSpool::readBytes(void* bytes, std::size_t size) {
    errno = EIO;  // for a file that is shorter than what was written
    if (std::fread(bytes, 1, size, file_.get()) != size) fail("the first document's results cannot be read back");
}

void OutcomeSpool::writeText(const std::string& text) {
    writeNumber(text.size());
    writeBytes(text.data(), text.size());
}

std::string OutcomeSpool::readText() {
    std::string text(readNumber<std::size_t>(), '\0');
    readBytes(text.data(), text.size());
    return text;
}

void OutcomeSpool::writeValue(const ShownValue& value) {
    writeText(value.type);
    writeText(value.text);
}

ShownValue OutcomeSpool::readValue() {
    ShownValue value;
    value.type = readText();
    value.text = readText();
    return value;
}

void OutcomeSpool::writeCondition(const Condition* condition) {
    const auto [known, isNew] = numbers_.try_emplace(condition, static_cast<std::uint32_t>(conditions_.size()));
    if (isNew) conditions_.push_back(condition);
    writeNumber(known->second);
}

const ConditionalXml::Condition* OutcomeSpool::readCondition() {
    return conditions_.at(readNumber<std::uint32_t>());
}

void OutcomeSpool::write(const RowOutcome& outcome) {
    writeNumber(outcome.row);
    writeNumber(outcome.isFailed);
    writeNumber(outcome.hasError);
    writeCondition(outcome.named);
    writeCondition(outcome.placed);
    writeNumber(static_cast<std::uint32_t>(outcome.puts.size()));
    for (const RowOutcome::Put& put : outcome.puts) {
        writeText(put.field);
        writeValue(put.before);
        writeValue(put.value);
        writeCondition(put.by);
    }
    ++written_;
}

void OutcomeSpool::rewind() {
    if (std::fflush(file_.get()) != 0 || std::fseek(file_.get(), 0, SEEK_SET) != 0)
        fail("the first document's results cannot be read back");
    read_ = 0;
}

bool OutcomeSpool::read(RowOutcome& outcome) {
    if (read_ == written_) return false;
    outcome.row = readNumber<ObjectId>();
    outcome.isFailed = readNumber<bool>();
    outcome.hasError = readNumber<bool>();
    outcome.named = readCondition();
    outcome.placed = readCondition();
    outcome.puts.resize(readNumber<std::uint32_t>());
    for (RowOutcome::Put& put : outcome.puts) {
        put.field = readText();
        put.before = readValue();
        put.value = readValue();
        put.by = readCondition();
    }
    ++read_;
    return true;
}

}  // namespace cxml
