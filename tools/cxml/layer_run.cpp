#include "layer_run.h"

#include "interrupt.h"
#include "out_of_memory.h"
#include "tools/reports/report.h"
#include "tools/runs/document_run.h"

#include <iostream>

namespace cxml {
namespace {

using embedded_host::GdalWorkspace;
using embedded_host::HostError;

// What --json writes of a document that was never loaded.
constexpr const char* interruptedWhileLoading =
    R"({"document": {"loaded": false, "error": "interrupted", "messages": []}, "layers": []})"
    "\n";

class LayerCommand {
public:
    LayerCommand(const LayerArguments& arguments, const LayerWork& work)
        : arguments_(arguments),
          work_(work),
          console_(arguments.json || arguments.quiet ? Console::Bar::Never : Console::Bar::WhenTerminal),
          services_(arguments.services, console_),
          document_(console_, arguments.document, arguments.json ? MessageLog::Keep::All : MessageLog::Keep::Counts,
                    work.isPart ? MessageLog::Show::Never : MessageLog::Show::AsTheyCome) {}

    ExitStatus run();

private:
    ExitStatus runAll();

    const LayerArguments& arguments_;
    const LayerWork& work_;
    Console console_;
    Services services_;  // outlives the document, whose expressions need Python to the end
    Document document_;
    std::vector<LayerResult> results_;
};

ExitStatus LayerCommand::run() {
    ExitStatus status = ExitStatus::Unusable;
    try {
        status = runAll();
    } catch (const HostError& e) {
        if (stopped())
            status = ExitStatus::Interrupted;
        else
            console_.complain(e.what());
    }
    if (status == ExitStatus::Interrupted && !work_.isPart) console_.complain("interrupted");
    if (work_.report) return work_.report(console_, document_, results_, status);
    if (arguments_.json) writeJson(std::cout, document_, results_);
    return status;
}

ExitStatus LayerCommand::runAll() {
    {
        const NothingToLose nothing(arguments_.json ? interruptedWhileLoading : "");
        load(document_, arguments_.services.withoutPython ? Expressions::PassedOver : Expressions::Compiled);
    }
    if (!document_.loaded) {
        console_.complain(notLoaded(document_));
        return work_.notLoaded;
    }
    if (work_.onLoaded) work_.onLoaded(document_);
    const embedded_host::WorkspaceOptions options{.lockTimeout = arguments_.lockTimeout, .stop = &stopRequested()};
    const std::shared_ptr<GdalWorkspace> workspace =
        work_.open ? work_.open(console_, options) : GdalWorkspace::open(arguments_.dataset, work_.access, options);
    DocumentRun run(arguments_, work_, console_, document_, *workspace, results_, stopRequested());
    run.prepare();
    if (work_.inPlaceOfRuns) {
        work_.inPlaceOfRuns(run);
        return stopped() ? ExitStatus::Interrupted : ExitStatus::Good;
    }
    const ExitStatus status = run.run();
    if (work_.afterwards && status != ExitStatus::Interrupted) work_.afterwards(*workspace, run.layers(), document_);
    return status;
}

}  // namespace

ExitStatus runLayers(const LayerArguments& arguments, const LayerWork& work) {
    try {
        LayerCommand command(arguments, work);
        return orEndOutOfMemory([&] { return command.run(); });
    } catch (const HostError& e) {  // of the services: nothing has begun
        Console(Console::Bar::Never).complain(e.what());
        return ExitStatus::Unusable;
    }
}

}  // namespace cxml
