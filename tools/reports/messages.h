// The message collection that the tool gives to the library.
#pragma once

#include "console.h"
#include "symbology/host_interfaces.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace cxml {

enum class MessageKind : std::uint8_t { Message, Error };

/// The texts of one layer (or of a document): each distinct text is shown when it first comes and counted from then
/// on.
class MessageLog {
public:
    /// With Counts, memory is bounded however many texts come: texts beyond the first `distinctLimit` different ones
    /// are shown each time and not remembered. With All, every message is kept in order.
    enum class Keep { Counts, All };
    static constexpr std::size_t distinctLimit = 10000;

    struct Text {
        std::string text;
        std::uint64_t count;
    };
    /// Whose a message is: the row that the run is at, and the line of the document that is responsible.
    struct Origin {
        std::optional<ObjectId> row;
        LONG line = 0;  // 0 when none is
    };
    struct Entry {
        std::uint32_t text;  // index into texts()
        MessageKind kind;
        Origin origin;
    };

    /// Whether texts are shown when they first come.
    enum class Show : std::uint8_t { AsTheyCome, Never };

    /// \param source what the texts are about, shown before each.
    MessageLog(Console& console, std::string source, Keep keep, Show show = Show::AsTheyCome)
        : console_(console), source_(std::move(source)), keep_(keep), show_(show) {}

    void add(MessageKind kind, std::string_view text);

    /// Asked with each message, while it is set.
    std::function<Origin(std::string_view text)> originOf;

    /// To be told of a text that found no memory.
    void lose() noexcept { incomplete_ = true; }
    bool isIncomplete() const noexcept { return incomplete_; }

    /// Whether nothing came.
    bool empty() const noexcept { return total_ == 0; }
    /// The text that came last; empty without one.
    const std::string& last() const noexcept { return last_; }
    /// Distinct texts in order of their first coming.
    const std::vector<Text>& texts() const noexcept { return texts_; }
    /// Every message in order; empty unless all are kept.
    const std::vector<Entry>& entries() const noexcept { return entries_; }

private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>{}(text); }
    };

    Console& console_;
    std::string source_;
    Keep keep_;
    Show show_;
    std::uint64_t total_ = 0;
    std::string last_;
    bool incomplete_ = false;
    std::vector<Text> texts_;
    std::unordered_map<std::string, std::uint32_t, Hash, std::equal_to<>> index_;
    std::vector<Entry> entries_;
};

/// Has a log ask where its messages come from while it lives: what comes later is the tool's own.
class OriginsOf {
public:
    OriginsOf(MessageLog& log, std::function<MessageLog::Origin(std::string_view text)> originOf) : log_(log) {
        log_.originOf = std::move(originOf);
    }
    ~OriginsOf() { log_.originOf = nullptr; }
    OriginsOf(const OriginsOf&) = delete;
    OriginsOf& operator=(const OriginsOf&) = delete;

private:
    MessageLog& log_;
};

/// The log as the library sees it. The log must outlive the collection.
CComPtr<IGPMessages> collectInto(MessageLog& log);

}  // namespace cxml
