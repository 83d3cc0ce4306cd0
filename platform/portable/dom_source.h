// Where the text of a document comes from: bytes of a file or a text in memory, turned into UTF-8 for the parser.
#pragma once

#include <unicode/ucnv.h>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace symbology_platform::dom {

/// The bytes as they are stored.
class ByteReader {
public:
    ByteReader() = default;
    ByteReader(const ByteReader&) = delete;
    ByteReader& operator=(const ByteReader&) = delete;
    virtual ~ByteReader() = default;

    /// Up to `size` bytes; 0 at the end. On failure -1, and failure() says why.
    virtual long read(char* buffer, std::size_t size) = 0;
    /// A sentence, or empty.
    const std::string& failure() const { return failure_; }

protected:
    std::string failure_;
};

/// Opens the file in the constructor; failure() tells at once whether that worked.
class FileReader final : public ByteReader {
public:
    /// `path` is as the system has it, UTF-8 for the most part.
    explicit FileReader(std::string path);
    ~FileReader() override;

    long read(char* buffer, std::size_t size) override;

private:
    void fail(const char* what, int systemError);

    std::string path_;
    int file_ = -1;
};

/// Reads a text that outlives the reader.
class MemoryReader final : public ByteReader {
public:
    explicit MemoryReader(std::string_view bytes) : rest_(bytes) {}

    long read(char* buffer, std::size_t size) override;

private:
    std::string_view rest_;
};

/// Decodes a document to UTF-8, chunk by chunk. Whatever it delivers is valid UTF-8 without a byte order mark and
/// without U+0000, so that the parser never guesses an encoding itself.
class DocumentSource {
public:
    enum class Encoding {
        Detect,  ///< by byte order mark and XML declaration, which must agree
        Utf16    ///< of this machine's byte order, whichever encoding the declaration names
    };

    DocumentSource(ByteReader& reader, Encoding encoding);

    /// Up to `size` bytes; 0 at the end, after a failure and after stop().
    int read(char* buffer, int size);
    /// Lets the parser come to an end.
    void stop() { ended_ = true; }

    /// Why the text ends early, as a sentence; empty when it does not.
    const std::string& failure() const { return failure_; }
    /// Whether that is a failure of the reader, not of what it read.
    bool readFailed() const { return !reader_.failure().empty(); }
    /// Bytes handed out so far.
    std::uint64_t delivered() const { return delivered_; }

private:
    void fill();
    void begin();
    void chooseEncoding();
    void open(const char* encoding);
    void decode(char*& target, char* limit);
    void flush(char*& target, char* limit);
    void fail(std::string reason);

    ByteReader& reader_;
    const Encoding encoding_;
    std::vector<char> raw_;
    std::size_t rawBegin_ = 0;
    std::size_t rawEnd_ = 0;
    bool readerEnded_ = false;
    bool begun_ = false;
    bool ended_ = false;
    icu::LocalUConverterPointer from_;
    icu::LocalUConverterPointer to_;
    std::vector<UChar> pivot_;
    UChar* pivotSource_ = nullptr;
    UChar* pivotTarget_ = nullptr;
    std::uint64_t delivered_ = 0;
    std::string pendingFailure_;  ///< what failure_ will be when all before it is delivered
    std::string failure_;
};

}  // namespace symbology_platform::dom
