// OutcomeSpool: the outcomes of one run, put aside until those of another are there to be held against them.
#pragma once

#include "row_outcome.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <unordered_map>
#include <vector>

namespace cxml {

/// On disk, in a file without a name that goes with this: memory does not grow with rows. First all is written, then
/// all is read, in the same order.
class OutcomeSpool {
public:
    /// \throws std::system_error when there can be no such file.
    OutcomeSpool();

    /// \throws std::system_error, when the disk is full for one.
    void write(const RowOutcome& outcome);
    std::int64_t size() const noexcept { return written_; }

    /// Goes back to the first. \throws std::system_error
    void rewind();
    /// \return false when all were read. \throws std::system_error
    bool read(RowOutcome& outcome);

private:
    using Condition = ConditionalXml::Condition;
    struct CloseFile {
        void operator()(std::FILE* file) const noexcept { std::fclose(file); }
    };

    void writeBytes(const void* bytes, std::size_t size);
    void readBytes(void* bytes, std::size_t size);
    template <class Number>
    void writeNumber(Number number) {
        writeBytes(&number, sizeof number);
    }
    template <class Number>
    Number readNumber() {
        Number number;
        readBytes(&number, sizeof number);
        return number;
    }
    void writeText(const std::string& text);
    std::string readText();
    void writeValue(const ShownValue& value);
    ShownValue readValue();
    void writeCondition(const Condition* condition);
    const Condition* readCondition();

    std::unique_ptr<std::FILE, CloseFile> file_;
    std::int64_t written_ = 0;
    std::int64_t read_ = 0;
    std::vector<const Condition*> conditions_{nullptr};  // a number stands for each
    std::unordered_map<const Condition*, std::uint32_t> numbers_{{nullptr, 0}};
};

}  // namespace cxml
