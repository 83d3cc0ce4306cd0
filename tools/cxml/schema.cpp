// cxml schema: the language as editors understand it.
#include "tools/check/schema.h"

#include "commands.h"
#include "output_place.h"
#include "tools/reports/console.h"

#include <iostream>
#include <memory>
#include <optional>
#include <string>

namespace cxml {
namespace {

struct Arguments {
    std::optional<std::string> file;
    bool overwrite = false;
};

ExitStatus writeSchema(const Arguments& arguments) {
    const std::string schema = languageSchema();
    if (!arguments.file) {
        std::cout << schema;
        return ExitStatus::Good;
    }
    const std::string why = OutputPlace{{}, arguments.overwrite}.write(*arguments.file, schema);
    if (why.empty()) return ExitStatus::Good;
    Console(Console::Bar::Never).complain(why);
    return ExitStatus::Unusable;
}

}  // namespace

void addSchema(CLI::App& app, Command& chosen) {
    CLI::App* command =
        app.add_subcommand("schema", "Write an XML Schema of the language, by which editors complete and explain");
    const auto arguments = std::make_shared<Arguments>();
    command->add_option("-o,--output", arguments->file, "the file to write; standard output without it")
        ->type_name("FILE");
    command->add_flag("--overwrite", arguments->overwrite, "replace FILE where it exists");
    command->footer(
        "Example: cxml schema -o cxml.xsd\n"
        "How editors are told of it is in the README of the examples. 'cxml check' finds more.");
    command->callback([&chosen, arguments] { chosen = [arguments] { return writeSchema(*arguments); }; });
}

}  // namespace cxml
