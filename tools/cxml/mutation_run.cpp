#include "mutation_run.h"

#include "api/document_loader.h"
#include "cxml/document_reader.h"
#include "host/host_error.h"
#include "tools/text/text.h"
#include "tools/workbench/document_mutants.h"

#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <new>

namespace cxml {
namespace {

// A file that has a name while this lives, and none of its own in any folder.
class UnnamedFile {
public:
    UnnamedFile() : file_(memfd_create("document", MFD_CLOEXEC)) {
        if (file_ < 0) fail();
    }
    ~UnnamedFile() { close(file_); }
    UnnamedFile(const UnnamedFile&) = delete;
    UnnamedFile& operator=(const UnnamedFile&) = delete;

    std::string path() const { return fmt::format("/proc/self/fd/{}", file_); }

    void write(const std::string& content) const {
        if (ftruncate(file_, 0) != 0) fail();
        for (std::size_t done = 0; done < content.size();) {
            const ssize_t written =
                pwrite(file_, content.data() + done, content.size() - done, static_cast<off_t>(done));
            if (written < 0 && errno != EINTR) fail();
            if (written > 0) done += static_cast<std::size_t>(written);
        }
    }

private:
    [[noreturn]] static void fail() {
        throw embedded_host::HostError(fmt::format("a changed document cannot be kept: {}", std::strerror(errno)));
    }

    int file_;
};

struct LoadedMutant {
    std::shared_ptr<ConditionalXml::ConditionMap> map = std::make_shared<ConditionalXml::ConditionMap>();
    DocumentPlaces places;
};

bool load(const UnnamedFile& file, const std::string& path, LoadedMutant& mutant) {
    try {
        const CComPtr<IXMLDOMDocument> dom = ConditionalXml::loadDocument(toPathBstr(file.path()));
        return dom &&
               ConditionalXml::readDocument(
                   *mutant.map, toPathBstr(path).m_str, dom,
                   {.messages = nullptr, .compile = ConditionalXml::compileWithPython, .observer = &mutant.places});
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        return false;
    }
}

bool isNoticed(const LoadedMutant& mutant, const Mutant& change, const std::vector<SectionRun*>& sections) {
    static const std::string nowhere;
    OperandState operands(*mutant.map);
    const TestedRules rules{*mutant.map, mutant.places, nowhere, operands};
    return std::ranges::any_of(sections, [&](SectionRun* section) {
        // A name with references is not resolved here.
        if (change.className.find('&') == std::string::npos && !section->concerns(change.className)) return false;
        const TestedSection result = section->run(rules, SectionRun::Detail::Verdict);
        return result.failed() != 0 || !result.failures.empty();
    });
}

}  // namespace

MutationResult runMutants(const std::string& text, const std::string& path, const std::vector<SectionRun*>& sections,
                          std::size_t limit, const std::function<bool()>& isStopped) {
    const std::vector<Mutant> changes = mutantsOf(text);
    // Elements are looked for as ASCII's characters.
    if (changes.empty() && text.find('\0') != std::string::npos)
        throw embedded_host::HostError(fmt::format("{}: is not in an encoding that can be changed here", path));
    const std::size_t count = limit == 0 ? changes.size() : std::min(limit, changes.size());
    MutationResult result;
    result.possible = changes.size();
    const UnnamedFile file;
    for (std::size_t i = 0; i < count && !isStopped(); ++i) {
        const Mutant& change = changes[i * changes.size() / count];
        file.write(change.applied(text));
        LoadedMutant mutant;
        if (!load(file, path, mutant)) continue;
        ++result.made;
        if (isNoticed(mutant, change, sections))
            ++result.killed;
        else
            result.survivors.push_back({change.line, change.change});
    }
    return result;
}

}  // namespace cxml
