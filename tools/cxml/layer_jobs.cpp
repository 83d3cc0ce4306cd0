#include "layer_jobs.h"

#include "interrupt.h"
#include "tools/runs/document_run.h"
#include "watched_process.h"

#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <deque>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

namespace cxml {
namespace {

using embedded_host::GdalWorkspace;
using embedded_host::HostError;

std::system_error systemError(const char* what) {
    return {errno, std::generic_category(), what};
}

// A file without a name, for what a process has to tell.
class Told {
public:
    Told() : file_(memfd_create("cxml", MFD_CLOEXEC)) {
        if (file_ < 0) throw systemError("no memory can be had");
    }
    ~Told() { close(file_); }
    Told(const Told&) = delete;
    Told& operator=(const Told&) = delete;

    void write(std::string_view text) const {
        while (!text.empty()) {
            const ssize_t written = ::write(file_, text.data(), text.size());
            if (written < 0) throw systemError("no memory can be had");
            text.remove_prefix(static_cast<std::size_t>(written));
        }
    }
    // Has it stand for standard output.
    void takeOutput() const {
        if (dup2(file_, STDOUT_FILENO) < 0) throw systemError("standard output cannot be kept");
    }
    std::string text() const {
        std::string text;
        std::array<char, 65536> block{};
        while (true) {
            const ssize_t count = pread(file_, block.data(), block.size(), static_cast<off_t>(text.size()));
            if (count < 0) throw systemError("what a run told cannot be read");
            if (count == 0) return text;
            text.append(block.data(), static_cast<std::size_t>(count));
        }
    }

private:
    int file_;
};

// 0 in the new process: that ends with the old one, and a terminal's Ctrl-C reaches it by way of that alone.
pid_t startProcess() {
    std::cout.flush();
    std::fflush(stdout);
    const pid_t parent = getpid();
    const pid_t started = fork();
    if (started < 0) throw systemError("no process can be started");
    if (started != 0) return started;
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != parent || setpgid(0, 0) != 0) _exit(1);
    goOnWatched();
    return 0;
}

// Nothing while the process runs.
std::optional<ExitStatus> endOf(pid_t process) {
    int state = 0;
    const pid_t ended = waitpid(process, &state, WNOHANG);
    if (ended == 0 || (ended < 0 && errno == EINTR)) return std::nullopt;
    if (ended == process && WIFEXITED(state)) {
        const auto status = static_cast<ExitStatus>(WEXITSTATUS(state));
        for (const ExitStatus known :
             {ExitStatus::Good, ExitStatus::Failed, ExitStatus::Unusable, ExitStatus::Interrupted})
            if (status == known) return known;
    }
    return ExitStatus::Failed;
}

// The processes of one command, from their start to their end.
class Processes {
public:
    std::size_t count() const noexcept { return running_.size(); }
    void add(pid_t process) { running_.push_back(process); }

    // Returns when one of them has ended, and which; Ctrl-C is passed on meanwhile. Not to be called without any.
    std::pair<pid_t, ExitStatus> waitForOne() {
        while (true) {
            if (stopped() && !interrupted_) {
                interrupted_ = true;
                for (const pid_t process : running_) kill(process, SIGINT);
            }
            for (const pid_t process : running_) {
                const std::optional<ExitStatus> status = endOf(process);
                if (!status) continue;
                std::erase(running_, process);
                return {process, *status};
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

private:
    std::vector<pid_t> running_;
    bool interrupted_ = false;
};

class LayerJobs {
public:
    LayerJobs(const LayerArguments& arguments, int jobs, LayerWork work)
        : arguments_(arguments), jobs_(static_cast<std::size_t>(jobs)), work_(std::move(work)) {}

    ExitStatus run();

private:
    struct Layer {
        std::string name;
        std::optional<std::string> subtypeField;
        Told told;  // what is for standard output
        pid_t process = 0;
        std::optional<ExitStatus> end;
    };

    // In processes of their own.
    ExitStatus prepare(const Told& plan) const;
    ExitStatus runOne(const Layer& layer) const;

    void readPlan(const std::string& text);
    void showEnded();
    void writeAll() const;

    const LayerArguments& arguments_;
    std::size_t jobs_;
    LayerWork work_;
    std::string document_;  // of the JSON
    std::deque<Layer> layers_;
    std::size_t shown_ = 0;
};

ExitStatus LayerJobs::run() {
    Processes processes;
    const Told plan;
    const pid_t preparing = startProcess();
    if (preparing == 0) return prepare(plan);
    processes.add(preparing);
    ExitStatus status = processes.waitForOne().second;
    const std::string text = plan.text();
    if (text.empty() || status != ExitStatus::Good) return status;  // and all has been said

    readPlan(text);
    auto next = layers_.begin();
    while (true) {
        for (; next != layers_.end() && processes.count() < jobs_ && !stopped(); ++next) {
            next->process = startProcess();
            if (next->process == 0) return runOne(*next);
            processes.add(next->process);
        }
        if (processes.count() == 0) break;
        const auto [process, end] = processes.waitForOne();
        std::ranges::find(layers_, process, &Layer::process)->end = end;
        status = graver(status, end);
        showEnded();
    }
    if (stopped()) {
        Console(Console::Bar::Never).complain("interrupted");
        status = ExitStatus::Interrupted;
    }
    if (arguments_.json) writeAll();
    return status;
}

// Finds out which layers there are, and refuses all that can be refused.
ExitStatus LayerJobs::prepare(const Told& plan) const {
    LayerWork work = work_;
    std::string document;
    work.open = [this](Console& /*console*/, const embedded_host::WorkspaceOptions& options) {
        const auto workspace = GdalWorkspace::open(arguments_.dataset, work_.access, options);
        if (workspace->type() != workspaceRemoteDatabase)
            throw HostError(workspace->name() +
                            ": --jobs is for databases on a server: a file is written by one process at a time");
        return workspace;
    };
    work.onLoaded = [&](const Document& loaded) {
        std::ostringstream json;
        writeJson(json, loaded);
        document = json.str();
    };
    work.inPlaceOfRuns = [&](const DocumentRun& run) {
        nlohmann::json layers = nlohmann::json::array();
        for (const embedded_host::LayerInfo& layer : run.layers()) {
            nlohmann::json& entry = layers.emplace_back();
            entry["name"] = layer.name;
            if (const std::optional<std::string> field = run.subtypeField(layer)) entry["subtypeField"] = *field;
        }
        plan.write(nlohmann::json{{"document", document}, {"layers", layers}}.dump());
    };
    work.report = [this](Console& /*console*/, const Document& loaded, const std::vector<LayerResult>& results,
                         ExitStatus status) {
        if (status != ExitStatus::Good && arguments_.json) writeJson(std::cout, loaded, results);
        return status;
    };
    return runLayers(arguments_, work);
}

ExitStatus LayerJobs::runOne(const Layer& layer) const {
    layer.told.takeOutput();
    LayerArguments arguments = arguments_;
    arguments.layers = {layer.name};
    arguments.quiet = true;
    LayerWork work = work_;
    work.isPart = true;
    work.prepare = nullptr;
    work.subtypeFields = {};
    if (layer.subtypeField) work.subtypeFields.byLayer[layer.name] = *layer.subtypeField;
    work.report = [this](Console& console, const Document& document, const std::vector<LayerResult>& results,
                         ExitStatus status) {
        if (work_.report) status = work_.report(console, document, results, status);
        if (arguments_.json && !results.empty()) writeJson(std::cout, results.front());
        return status;
    };
    return runLayers(arguments, work);
}

void LayerJobs::readPlan(const std::string& text) {
    const nlohmann::json plan = nlohmann::json::parse(text);
    document_ = plan.at("document");
    for (const nlohmann::json& entry : plan.at("layers")) {
        Layer& layer = layers_.emplace_back();
        layer.name = entry.at("name");
        if (entry.contains("subtypeField")) layer.subtypeField = entry.at("subtypeField");
    }
}

// In the order of the layers.
void LayerJobs::showEnded() {
    if (arguments_.json) return;
    for (; shown_ < layers_.size() && layers_[shown_].end; ++shown_) std::cout << layers_[shown_].told.text();
    std::cout.flush();
}

void LayerJobs::writeAll() const {
    std::cout << "{\"document\": " << document_ << ",\n \"layers\": [";
    const char* separator = "\n  ";
    for (const Layer& layer : layers_) {
        if (!layer.end) continue;  // it has not begun
        std::string result = layer.told.text();
        if (result.empty())
            result = fmt::format(R"({{"layer": {}, "succeeded": false, "rows": 0, "changed": 0, "messages": )"
                                 R"([{{"kind": "error", "text": "the run was ended in its middle"}}]}})",
                                 jsonString(layer.name));
        std::cout << separator << result;
        separator = ",\n  ";
    }
    std::cout << "]}\n";
}

}  // namespace

ExitStatus runLayersInJobs(const LayerArguments& arguments, int jobs, LayerWork work) {
    try {
        struct stat about{};
        // What is not there is complained of when it is loaded.
        if (stat(arguments.document.c_str(), &about) == 0 && !S_ISREG(about.st_mode))
            throw HostError(arguments.document + ": with --jobs the document has to be a file: each process reads it");
        return LayerJobs(arguments, jobs, std::move(work)).run();
    } catch (const HostError& error) {
        Console(Console::Bar::Never).complain(error.what());
        return ExitStatus::Unusable;
    }
}

}  // namespace cxml
