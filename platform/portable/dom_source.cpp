#include "platform/portable/dom_source.h"

#include "platform/portable/dom_encoding.h"

#include <fcntl.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <new>
#include <system_error>
#include <utility>

namespace symbology_platform::dom {

namespace {

constexpr std::size_t rawSize = 32768;
constexpr std::size_t pivotSize = 4096;
/// An XML declaration that is longer than this is taken for none.
constexpr std::size_t declarationSize = 1024;
/// A longer path is shown from its end: texts about a failure pass through buffers of limited size.
constexpr std::size_t shownPath = 240;

std::string shown(const std::string& path) {
    if (path.size() <= shownPath) return path;
    std::size_t begin = path.size() - shownPath;
    while (begin < path.size() && (static_cast<unsigned char>(path[begin]) & 0xC0U) == 0x80U) ++begin;
    return "..." + path.substr(begin);
}

std::string hexByte(char byte) {
    constexpr char digits[] = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    return {digits[value >> 4U], digits[value & 0xFU]};
}

}  // namespace

FileReader::FileReader(std::string path) : path_(std::move(path)) {
    do {
        file_ = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    } while (file_ < 0 && errno == EINTR);
    if (file_ < 0) fail("open", errno);
}

FileReader::~FileReader() {
    if (file_ >= 0) ::close(file_);
}

long FileReader::read(char* buffer, std::size_t size) {
    if (file_ < 0) return -1;
    for (;;) {
        const ssize_t count = ::read(file_, buffer, size);
        if (count >= 0) return count;
        if (errno != EINTR) break;
    }
    fail("read", errno);
    return -1;
}

void FileReader::fail(const char* what, int systemError) {
    failure_ = std::string("Cannot ") + what + " '" + shown(path_) +
               "': " + std::generic_category().message(systemError) + '.';
}

long MemoryReader::read(char* buffer, std::size_t size) {
    const std::size_t count = std::min(size, rest_.size());
    rest_.copy(buffer, count);
    rest_.remove_prefix(count);
    return static_cast<long>(count);
}

DocumentSource::DocumentSource(ByteReader& reader, Encoding encoding)
    : reader_(reader), encoding_(encoding), raw_(rawSize), pivot_(pivotSize) {
    pivotSource_ = pivotTarget_ = pivot_.data();
}

int DocumentSource::read(char* buffer, int size) {
    char* target = buffer;
    char* const limit = buffer + size;
    if (!begun_) begin();
    while (target == buffer && !ended_) decode(target, limit);
    // The text after a zero is not delivered.
    if (char* zero = std::find(buffer, target, '\0'); zero != target) {
        target = zero;
        fail("The text contains the character U+0000.");
    }
    delivered_ += static_cast<std::uint64_t>(target - buffer);
    return static_cast<int>(target - buffer);
}

void DocumentSource::fail(std::string reason) {
    if (failure_.empty()) failure_ = std::move(reason);
    ended_ = true;
}

/// Adds one read's worth of bytes to those not yet decoded.
void DocumentSource::fill() {
    if (rawBegin_ == rawEnd_) rawBegin_ = rawEnd_ = 0;
    if (readerEnded_ || rawEnd_ == raw_.size()) return;
    const long count = reader_.read(raw_.data() + rawEnd_, raw_.size() - rawEnd_);
    if (count < 0) fail(reader_.failure());
    if (count <= 0)
        readerEnded_ = true;
    else
        rawEnd_ += static_cast<std::size_t>(count);
}

void DocumentSource::begin() {
    begun_ = true;
    while (rawEnd_ < declarationSize && !readerEnded_) fill();
    if (!ended_) chooseEncoding();
}

void DocumentSource::chooseEncoding() {
    const std::string_view start(raw_.data(), std::min(rawEnd_, declarationSize));
    const EncodingChoice choice = encoding_ == Encoding::Utf16 ? memoryEncoding(start) : detectEncoding(start);
    if (!choice.failure.empty()) return fail(choice.failure);
    rawBegin_ += choice.markSize;
    open(choice.name.c_str());
}

void DocumentSource::open(const char* encoding) {
    UErrorCode status = U_ZERO_ERROR;
    from_.adoptInstead(ucnv_open(encoding, &status));
    to_.adoptInstead(ucnv_open("UTF-8", &status));
    if (U_SUCCESS(status))
        ucnv_setToUCallBack(from_.getAlias(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
    if (U_FAILURE(status)) fail(std::string("The encoding '") + encoding + "' is not supported.");
}

void DocumentSource::decode(char*& target, char* limit) {
    if (!pendingFailure_.empty()) return flush(target, limit);
    if (rawBegin_ == rawEnd_) fill();
    if (ended_) return;
    UErrorCode status = U_ZERO_ERROR;
    const char* source = raw_.data() + rawBegin_;
    ucnv_convertEx(to_.getAlias(), from_.getAlias(), &target, limit, &source, raw_.data() + rawEnd_, pivot_.data(),
                   &pivotSource_, &pivotTarget_, pivot_.data() + pivot_.size(), false,
                   readerEnded_ ? UBool{1} : UBool{0}, &status);
    rawBegin_ = static_cast<std::size_t>(source - raw_.data());
    if (status == U_BUFFER_OVERFLOW_ERROR) return;
    if (U_SUCCESS(status)) {
        if (readerEnded_) ended_ = true;
        return;
    }
    if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();

    char bytes[32];
    auto count = static_cast<std::int8_t>(sizeof bytes);
    UErrorCode ignored = U_ZERO_ERROR;
    ucnv_getInvalidChars(from_.getAlias(), bytes, &count, &ignored);
    std::string text;
    for (int i = 0; U_SUCCESS(ignored) && i < count; ++i) text += ' ' + hexByte(bytes[i]);
    const char* name = ucnv_getName(from_.getAlias(), &ignored);
    pendingFailure_ = "The bytes" + text + " are not a character of the encoding " + (name ? name : "") + '.';
    flush(target, limit);
}

/// Delivers what was decoded before the bytes that could not be.
void DocumentSource::flush(char*& target, char* limit) {
    UErrorCode status = U_ZERO_ERROR;
    const UChar* source = pivotSource_;
    ucnv_fromUnicode(to_.getAlias(), &target, limit, &source, pivotTarget_, nullptr, false, &status);
    pivotSource_ += source - pivotSource_;
    if (status != U_BUFFER_OVERFLOW_ERROR) fail(pendingFailure_);
}

}  // namespace symbology_platform::dom
