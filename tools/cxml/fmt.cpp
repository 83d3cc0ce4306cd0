// cxml fmt: gives documents the layout that all have.
#include "commands.h"
#include "finding_text.h"
#include "host/host_error.h"
#include "interrupt.h"
#include "load_findings.h"
#include "tools/format/document_encoding.h"
#include "tools/format/layout.h"
#include "tools/format/same_content.h"
#include "tools/format/unified_diff.h"
#include "tools/reports/console.h"
#include "tools/reports/document.h"
#include "tools/text/output_file.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <system_error>
#include <vector>

namespace cxml {
namespace {

using embedded_host::HostError;

constexpr const char* standardInput = "-";

struct Arguments {
    std::vector<std::string> documents;
    bool check = false;
    bool diff = false;

    bool writes() const noexcept { return !check && !diff; }
};

// Bytes under the path of a file that is nowhere but in memory: what is parsed is what was read, whatever happens to
// the document meanwhile.
class MemoryFile {
public:
    explicit MemoryFile(std::string_view bytes) : file_(memfd_create("document", MFD_CLOEXEC)) {
        while (file_ >= 0 && !bytes.empty()) {
            const ssize_t written = write(file_, bytes.data(), bytes.size());
            if (written < 0 && errno == EINTR) continue;
            if (written <= 0) break;
            bytes.remove_prefix(static_cast<std::size_t>(written));
        }
        if (file_ >= 0 && bytes.empty()) return;
        const int error = errno;
        if (file_ >= 0) close(file_);
        throw HostError("no memory for the document: " + std::generic_category().message(error));
    }
    ~MemoryFile() { close(file_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string path() const { return fmt::format("/proc/self/fd/{}", file_); }

private:
    int file_;
};

std::string readAll(const std::string& document) {
    const std::string path = document == standardInput ? "/dev/stdin" : document;
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) throw HostError(document + ": is a folder");
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(file), {});
    if (!file.is_open() || file.bad())
        throw HostError(fmt::format("{}: {}", document, std::generic_category().message(errno == 0 ? EIO : errno)));
    return bytes;
}

CComBSTR nameOf(IXMLDOMNode* node) {
    CComBSTR name;
    node->get_nodeName(&name);
    return name;
}

CComPtr<IXMLDOMDocument> parsed(const MemoryFile& file) {
    CComPtr<IXMLDOMDocument> dom;
    VARIANT_BOOL isLoaded = VARIANT_FALSE;
    if (FAILED(CoCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_ALL, __uuidof(IXMLDOMDocument),
                                reinterpret_cast<void**>(&dom))) ||
        FAILED(dom->load(CComVariant(toPathBstr(file.path())), &isLoaded)))
        throw HostError("the document's parser cannot be made");
    return dom;
}

// What keeps a document from being laid out.
class Refusal {
public:
    explicit Refusal(std::vector<Finding> findings) : findings_(std::move(findings)) {}

    void show(Console& console) const {
        Sources sources;
        for (const Finding& finding : findings_)
            for (const std::string& line : linesOf(finding, sources)) console.remark(line);
    }

private:
    std::vector<Finding> findings_;
};

// \throws Refusal
std::string laidOutBytes(const std::string& name, const std::string& bytes, Console& console) {
    const MemoryFile file(bytes);
    Document document(console, name, MessageLog::Keep::Counts, MessageLog::Show::Never);
    document.dom = parsed(file);
    CComPtr<IXMLDOMNode> root;
    if (document.dom->get_documentElement(&root) != S_OK || !root) {
        document.reason = whyNotParsed({}, document.dom);
    } else if (const CComBSTR rootName = nameOf(root); toUtf8(rootName) != "conditionMap") {
        document.reason = fmt::format("its root element is '{}' instead of conditionMap", toUtf8(rootName));
    } else {
        const DocumentText text = decoded(bytes);
        std::string result = encoded(text, laidOut(text.text));
        // Whatever its encoding does to markup: no document is changed that would say something else.
        if (result == bytes || haveSameContent(document.dom, parsed(MemoryFile(result)))) return result;
        document.reason = "it cannot be laid out without changing what it says";
    }
    Findings findings(name);
    addLoadFindings(document, SourceText(file.path()), findings);
    throw Refusal(findings.take());
}

// The file itself where the name is a link.
std::string placeOf(const std::string& document) {
    std::error_code error;
    const std::filesystem::path place = std::filesystem::canonical(document, error);
    std::string why = error ? error.message() : whyNotWritable(place.string(), WhenThere::Replace);
    if (why.empty() && access(place.c_str(), W_OK) != 0) why = std::generic_category().message(errno);
    if (!why.empty()) throw HostError(fmt::format("{}: {}", document, why));
    return place.string();
}

void write(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

void showDiff(const std::string& name, const std::string& before, const std::string& after) {
    const std::string diff = unifiedDiff(decoded(before).text, decoded(after).text, name);
    write(isatty(STDOUT_FILENO) != 0 ? printable(diff) + '\n' : diff);
}

ExitStatus layOut(const Arguments& arguments, const std::string& document, Console& console) {
    const bool isFile = document != standardInput;
    std::string place;
    std::string bytes;
    std::string result;
    {
        const NothingToLose nothing("");
        if (arguments.writes() && isFile) place = placeOf(document);
        bytes = readAll(document);
        result = laidOutBytes(document, bytes, console);
    }
    const bool isSame = result == bytes;
    if (arguments.check && !isSame) console.result(document);
    if (arguments.diff && !isSame) showDiff(document, bytes, result);
    if (!arguments.writes()) return arguments.check && !isSame ? ExitStatus::Failed : ExitStatus::Good;
    if (!isFile) {
        write(result);
    } else if (!isSame) {
        if (const std::string why = writeFile(place, result, WhenThere::Replace); !why.empty())
            throw HostError(fmt::format("{}: {}", document, why));
        console.result(document + ": laid out");
    }
    return ExitStatus::Good;
}

ExitStatus layOutAll(const Arguments& arguments) {
    Console console(Console::Bar::Never);
    ExitStatus status = ExitStatus::Good;
    for (const std::string& document : arguments.documents) {
        if (stopRequested()) return ExitStatus::Interrupted;
        try {
            status = graver(status, layOut(arguments, document, console));
        } catch (const Refusal& refusal) {
            refusal.show(console);
            status = graver(status, ExitStatus::Failed);
        } catch (const HostError& e) {
            console.complain(e.what());
            status = graver(status, ExitStatus::Unusable);
        }
    }
    return status;
}

}  // namespace

void addFmt(CLI::App& app, Command& chosen) {
    CLI::App* command = app.add_subcommand("fmt", "Give documents the layout that all have; they mean the same");
    const auto arguments = std::make_shared<Arguments>();
    command
        ->add_option("DOCUMENT", arguments->documents,
                     "CXML documents, which are written in place; - is from standard input to standard output")
        ->required()
        ->type_name("");
    command->add_flag("--check", arguments->check, "write nothing; list the documents that would change, status 1");
    command->add_flag("--diff", arguments->diff, "write nothing; show what would change");
    command->footer(
        "Example: cxml fmt --check --diff *.cxml\n"
        "White space between elements and the order of attributes change; comments, expressions, values and all other\n"
        "texts stay to the letter. A document that is not well-formed is not touched.\n"
        "Exit status: 0 all well, 1 a document is not well-formed, or would change (--check), 2 wrong usage, or a "
        "file\n"
        "that cannot be read or written.");
    command->callback([&chosen, arguments] { chosen = [arguments] { return layOutAll(*arguments); }; });
}

}  // namespace cxml
