// Leaders, directories and fields of ISO 8211.
#include "host/geodatabase/s57/s57_records.h"

#include <cpl_conv.h>
#include <cpl_vsi.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <string>
#include <utility>

namespace embedded_host {

namespace {

constexpr char unitEnd = '\x1f';
constexpr char fieldEnd = '\x1e';
constexpr std::size_t leaderSize = 24;
constexpr std::size_t tagSize = 4;
constexpr GIntBig mostBytes = 256 << 20;  // fifty times what a cell may have

// The subfields that a cell's fields have. A file that describes them otherwise would be read otherwise.
struct Description {
    std::string_view tag;
    std::string_view labels;
    std::string_view formats;
};
constexpr std::array descriptions{
    Description{"DSID", "RCNM!RCID!EXPP!INTU!DSNM!EDTN!UPDN!UADT!ISDT!STED!PRSP!PSDN!PRED!PROF!AGEN!COMT",
                "b11,b14,b11,b11,A,A,A,A(8),A(8),R(4),b11,A,A,b11,b12,A"},
    Description{"DSSI", "DSTR!AALL!NALL!NOMR!NOCR!NOGR!NOLR!NOIN!NOCN!NOED!NOFA",
                "b11,b11,b11,b14,b14,b14,b14,b14,b14,b14,b14"},
    Description{"DSPM", "RCNM!RCID!HDAT!VDAT!SDAT!CSCL!DUNI!HUNI!PUNI!COUN!COMF!SOMF!COMT",
                "b11,b14,b11,b11,b11,b14,b11,b11,b11,b11,b14,b14,A"},
    Description{"VRID", "RCNM!RCID!RVER!RUIN", "b11,b14,b12,b11"},
    Description{"ATTV", "*ATTL!ATVL", "b12,A"},
    Description{"VRPC", "VPUI!VPIX!NVPT", "b11,b12,b12"},
    Description{"VRPT", "*NAME!ORNT!USAG!TOPI!MASK", "B(40),b11,b11,b11,b11"},
    Description{"SGCC", "CCUI!CCIX!CCNC", "b11,b12,b12"},
    Description{"SG2D", "*YCOO!XCOO", "b24,b24"},
    Description{"SG3D", "*YCOO!XCOO!VE3D", "b24,b24,b24"},
    Description{"FRID", "RCNM!RCID!PRIM!GRUP!OBJL!RVER!RUIN", "b11,b14,b11,b11,b12,b12,b11"},
    Description{"FOID", "AGEN!FIDN!FIDS", "b12,b14,b12"},
    Description{"ATTF", "*ATTL!ATVL", "b12,A"},
    Description{"NATF", "*ATTL!ATVL", "b12,A"},
    Description{"FFPC", "FFUI!FFIX!NFPT", "b11,b12,b12"},
    Description{"FFPT", "*LNAM!RIND!COMT", "B(64),b11,A"},
    Description{"FSPC", "FSUI!FSIX!NSPT", "b11,b12,b12"},
    Description{"FSPT", "*NAME!ORNT!USAG!MASK", "B(40),b11,b11,b11"},
};

bool isDigits(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

// -1 when the text is no number.
std::int64_t numberOf(std::string_view text) {
    std::int64_t number = -1;
    if (!isDigits(text) || text.size() > 9) return -1;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

// "(b11,2b14)" as "b11,b14,b14".
std::string expanded(std::string_view formats) {
    if (formats.size() < 2 || formats.front() != '(' || formats.back() != ')') return {};
    formats = formats.substr(1, formats.size() - 2);
    std::string all;
    while (!formats.empty()) {
        const std::size_t end = std::min(formats.find(','), formats.size());
        std::string_view one = formats.substr(0, end);
        formats.remove_prefix(std::min(end + 1, formats.size()));
        const std::size_t digits = std::min(one.find_first_not_of("0123456789"), one.size());
        const std::int64_t times = digits == 0 ? 1 : numberOf(one.substr(0, digits));
        one.remove_prefix(digits);
        for (std::int64_t i = 0; i < times && all.size() < 200; ++i) {
            if (!all.empty()) all += ',';
            all += one;
        }
    }
    return all;
}

struct FileCloser {
    void operator()(VSILFILE* file) const noexcept { VSIFCloseL(file); }
};

}  // namespace

bool beginsAsCell(const std::string& path) {
    const std::unique_ptr<VSILFILE, FileCloser> file(VSIFOpenL(path.c_str(), "rb"));
    if (!file) return false;
    std::array<char, 4096> bytes{};  // directories have some hundred
    const std::string_view begin(bytes.data(), VSIFReadL(bytes.data(), 1, bytes.size(), file.get()));
    if (begin.size() < leaderSize || !isDigits(begin.substr(0, 5)) || begin[6] != 'L') return false;
    // Where a tag has letters, what stands between the tags are digits.
    const std::string_view directory = begin.substr(leaderSize);
    return directory.substr(0, directory.find(fieldEnd)).find("DSID") != std::string_view::npos;
}

const std::string_view* S57Record::find(std::string_view tag) const noexcept {
    const auto found = std::ranges::find(fields, tag, &S57Field::tag);
    return found == fields.end() ? nullptr : &found->data;
}

std::string_view S57Reader::bytes(std::size_t count) {
    if (count > rest_.size()) throw HostError("a field ends too early");
    const std::string_view taken = rest_.substr(0, count);
    rest_.remove_prefix(count);
    return taken;
}

std::uint32_t S57Reader::number(std::size_t size) {
    const std::string_view taken = bytes(size);
    std::uint32_t value = 0;
    for (std::size_t i = size; i-- > 0;) value = value << 8U | static_cast<unsigned char>(taken[i]);
    return value;
}

std::string_view S57Reader::text() {
    const std::size_t end = rest_.find(unitEnd);
    if (end == std::string_view::npos) throw HostError("a text has no end");
    const std::string_view taken = rest_.substr(0, end);
    rest_.remove_prefix(end + 1);
    return taken;
}

S57File::S57File(const std::string& path) : path_(path) {
    VSIStatBufL status;
    if (VSIStatL(path.c_str(), &status) == 0 && !VSI_ISREG(status.st_mode))
        throw HostError(path + ": not an S-57 cell that can be read: it is no file");
    GByte* content = nullptr;
    vsi_l_offset size = 0;
    if (!VSIIngestFile(nullptr, path.c_str(), &content, &size, mostBytes))
        throw HostError(path + ": not an S-57 cell that can be read: the file cannot be opened or is too large");
    const std::unique_ptr<GByte, decltype(&VSIFree)> owner(content, &VSIFree);
    bytes_.assign(reinterpret_cast<const char*>(content), static_cast<std::size_t>(size));
    if (bytes_.empty()) throw HostError(path + ": not an S-57 cell that can be read: the file is empty");
    S57Record record;
    try {
        record = recordAt(0, 'L', next_);
    } catch (const HostError&) {
        throw HostError(path + ": not an S-57 cell that can be read: it does not begin with a record of ISO 8211");
    }
    checkDescriptions(record);
    described_ = std::move(record);
}

void S57File::refuse(const S57Record& record, const std::string& why) const {
    throw HostError(path_ + ": the record at byte " + std::to_string(record.offset) + ": " + why);
}

bool S57File::next(S57Record& record) {
    if (next_ == bytes_.size()) return false;
    record = recordAt(next_, 'D', next_);
    if (record.fields.empty() || record.fields.front().tag != "0001") refuse(record, "it has no identifier");
    record.fields.erase(record.fields.begin());
    if (record.fields.empty()) refuse(record, "it has no fields");
    for (const S57Field& field : record.fields)
        if (!described_.find(field.tag)) refuse(record, "it has a field that the file does not describe");
    return true;
}

S57Record S57File::recordAt(std::size_t offset, char kind, std::size_t& end) const {
    S57Record record;
    record.offset = offset;
    const std::string_view rest = std::string_view(bytes_).substr(offset);
    if (rest.size() < leaderSize) refuse(record, "the file ends in it");
    const std::int64_t length = numberOf(rest.substr(0, 5));
    const std::int64_t start = numberOf(rest.substr(12, 5));
    const std::int64_t lengthDigits = numberOf(rest.substr(20, 1));
    const std::int64_t positionDigits = numberOf(rest.substr(21, 1));
    if (rest[6] != kind || length < 0 || std::cmp_less_equal(start, leaderSize) || lengthDigits < 1 ||
        positionDigits < 1 || rest[23] != '4')
        refuse(record, "it is no record of ISO 8211");
    const auto dataStart = static_cast<std::size_t>(start);
    const auto entrySize = tagSize + static_cast<std::size_t>(lengthDigits + positionDigits);
    if (dataStart > rest.size()) refuse(record, "the file ends in it");
    const std::string_view directory = rest.substr(leaderSize, dataStart - leaderSize - 1);
    if (rest[dataStart - 1] != fieldEnd || directory.size() % entrySize != 0) refuse(record, "its directory is broken");
    std::size_t position = 0;
    for (std::size_t i = 0; i < directory.size(); i += entrySize) {
        const std::string_view entry = directory.substr(i, entrySize);
        const std::string_view tag = entry.substr(0, tagSize);
        const std::int64_t size = numberOf(entry.substr(tagSize, static_cast<std::size_t>(lengthDigits)));
        const std::int64_t at = numberOf(entry.substr(tagSize + static_cast<std::size_t>(lengthDigits)));
        if (size < 1 || at < 0 || std::cmp_not_equal(at, position)) refuse(record, "its directory is broken");
        if (static_cast<std::size_t>(size) > rest.size() - dataStart - position) refuse(record, "the file ends in it");
        std::string_view data = rest.substr(dataStart + position, static_cast<std::size_t>(size));
        position += static_cast<std::size_t>(size);
        // Where characters have two bytes, the terminator has two as well.
        if (tag == "NATF" && kind == 'D' && data.size() > 1 && data.back() == '\0') data.remove_suffix(1);
        if (data.back() != fieldEnd) refuse(record, "field " + std::string(tag) + " has no end");
        data.remove_suffix(1);
        record.fields.push_back({tag, data});
    }
    // A length of 0 says that the record is longer than five digits can say.
    if (length != 0 && static_cast<std::size_t>(length) != dataStart + position) refuse(record, "its length is wrong");
    end = offset + dataStart + position;
    return record;
}

void S57File::checkDescriptions(const S57Record& record) const {
    for (const Description& expected : descriptions) {
        const std::string_view* found = record.find(expected.tag);
        if (!found) continue;
        const std::size_t labels = found->find(unitEnd);
        const std::size_t formats = labels == std::string_view::npos ? labels : found->find(unitEnd, labels + 1);
        if (formats == std::string_view::npos || found->substr(labels + 1, formats - labels - 1) != expected.labels ||
            expanded(found->substr(formats + 1)) != expected.formats)
            throw HostError(path_ + ": field " + std::string(expected.tag) +
                            " is not described as in a binary S-57 file");
    }
    if (!record.find("DSID")) throw HostError(path_ + ": not an S-57 cell that can be read: it describes no DSID");
}

}  // namespace embedded_host
