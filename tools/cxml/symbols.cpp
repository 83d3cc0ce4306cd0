// cxml symbols: folders of pictures.
#include "commands.h"
#include "interrupt.h"
#include "tools/draw/import_symbols.h"
#include "tools/draw/styles.h"
#include "tools/reports/console.h"

#include <fmt/format.h>
#include <memory>

namespace cxml {
namespace {

struct Arguments {
    std::string catalogue;
    std::string folder;
    std::string palette = "day";
};

ExitStatus importCatalogue(const Arguments& arguments) {
    Console console(Console::Bar::Never);
    try {
        const NothingToLose nothing("");
        const ImportedSymbols imported = importSymbols(arguments.catalogue, arguments.folder, arguments.palette);
        for (const std::string& refused : imported.refused) console.complain(refused);
        console.result(fmt::format("{}: {} picture{}, {} refused", arguments.folder, imported.pictures,
                                   imported.pictures == 1 ? "" : "s", imported.refused.size()));
        return imported.refused.empty() ? ExitStatus::Good : ExitStatus::Failed;
    } catch (const DrawError& e) {
        console.complain(e.what());
        return ExitStatus::Unusable;
    }
}

}  // namespace

void addSymbols(CLI::App& app, Command& chosen) {
    CLI::App* symbols = app.add_subcommand("symbols", "Make folders of pictures for draw");
    symbols->require_subcommand(1);
    CLI::App* command = symbols->add_subcommand("import", "Make pictures of a portrayal catalogue that you have");
    const auto arguments = std::make_shared<Arguments>();
    command->add_option("CATALOGUE", arguments->catalogue, "the catalogue's folder, or that of its pictures")
        ->required()
        ->type_name("");
    command->add_option("DIR", arguments->folder, "the folder to make")->required()->type_name("");
    command->add_option("--palette", arguments->palette, "day, dusk or night; day without it")
        ->type_name("NAME")
        ->check(CLI::IsMember({"day", "dusk", "night"}));
    command->footer(
        "What a style sheet says is written into each picture, what it does not display is left out, and the symbol's\n"
        "position is put in the middle. Pictures with scripts, links or anything but shapes are refused, and named.\n"
        "Exit status: 0 all imported, 1 some were refused, 2 the catalogue cannot be read or the folder not be made.");
    command->callback([&chosen, arguments] { chosen = [arguments] { return importCatalogue(*arguments); }; });
}

}  // namespace cxml
