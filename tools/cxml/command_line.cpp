#include "command_line.h"

#include "tools/text/similar.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <iostream>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace cxml {
namespace {

// A command that says something and has nothing to do afterwards.
Command said(const std::string& text) {
    std::cout << text;
    return [] { return ExitStatus::Good; };
}

bool isAny(const CLI::App* /*command*/) {
    return true;
}

std::vector<const CLI::App*> commandsOf(const CLI::App& app) {
    return app.get_subcommands(isAny);
}

std::vector<std::string> namesOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : commandsOf(app)) names.push_back(command->get_name());
    return names;
}

// "--where", "-q": as they are typed.
std::vector<std::string> optionsOf(const CLI::App& command) {
    std::vector<std::string> options;
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : option->get_snames()) options.push_back("-" + name);
        for (const std::string& name : option->get_lnames()) options.push_back("--" + name);
    }
    return options;
}

// A script for bash, which zsh takes, too. Words come from the commands themselves.
std::string completion(const CLI::App& app) {
    std::string cases;
    for (const CLI::App* command : commandsOf(app)) {
        std::vector<std::string> options = optionsOf(*command);
        for (const CLI::App* inner : commandsOf(*command))
            std::ranges::copy(optionsOf(*inner), std::back_inserter(options));
        const std::vector<std::string> words = command->get_name() == "help" ? namesOf(app) : namesOf(*command);
        cases += fmt::format("        {}) words='{}' options='{}' ;;\n", command->get_name(), fmt::join(words, " "),
                             fmt::join(options, " "));
    }
    return fmt::format(
        R"(# Completion for cxml: source it, in zsh also.
if [ -n "${{ZSH_VERSION-}}" ]; then autoload -U +X bashcompinit && bashcompinit; fi
_cxml() {{
    local word=${{COMP_WORDS[COMP_CWORD]}} command=${{COMP_WORDS[1]}} words='' options='--help --version' files=yes
    [ "$COMP_CWORD" -gt 1 ] || command=''
    case $command in
        '') words='{}' files='' ;;
{}    esac
    case $word in
        -*) COMPREPLY=($(compgen -W "$options" -- "$word")) ;;
        *) COMPREPLY=($(compgen -W "$words" -- "$word") $([ -z "$files" ] || compgen -f -- "$word")) ;;
    esac
}}
complete -o filenames -F _cxml cxml
)",
        fmt::join(namesOf(app), " "), cases);
}

void addHelp(CLI::App& app, Command& chosen) {
    CLI::App* command = app.add_subcommand("help", "Tell more of a command");
    const auto names = std::make_shared<std::vector<std::string>>();
    command->add_option("COMMAND", *names, "the command")->type_name("");
    command->callback([&app, &chosen, names] {
        const CLI::App* of = &app;
        std::string path = app.get_name();
        for (const std::string& name : *names) {
            const std::vector<const CLI::App*> commands = commandsOf(*of);
            const auto found = std::ranges::find(commands, name, [](const CLI::App* one) { return one->get_name(); });
            if (found == commands.end())
                throw CLI::ValidationError(
                    fmt::format("'{}' is no command; {}", name, suggestion(name, namesOf(*of), "there are ")));
            of = *found;
            path += ' ' + name;
        }
        // Its own help() would be that of this command.
        chosen = said(of->get_formatter()->make_help(of, path, CLI::AppFormatMode::Normal));
    });
}

void addCompletion(CLI::App& app, Command& chosen) {
    CLI::App* command = app.add_subcommand("completion", "Write a script that completes commands and options");
    const auto shell = std::make_shared<std::string>();
    command->add_option("SHELL", *shell, "bash or zsh")
        ->required()
        ->type_name("")
        ->check(CLI::IsMember({"bash", "zsh"}));
    command->footer("Example: cxml completion bash > /etc/bash_completion.d/cxml");
    command->callback([&app, &chosen, shell] { chosen = said(completion(app)); });
}

// The parser takes an argument "[A,B]" for a list of two. With a zero behind it, which no argument of a program can
// have, it is one name.
void parse(CLI::App& app, int argc, char** argv) {
    const auto unmarked = [](std::string text) {
        while (!text.empty() && text.back() == '\0') text.pop_back();
        return text;
    };
    for (CLI::App* command : app.get_subcommands(isAny)) {
        for (CLI::Option* option : command->get_options()) option->transform(unmarked);
        for (CLI::App* inner : command->get_subcommands(isAny))
            for (CLI::Option* option : inner->get_options()) option->transform(unmarked);
    }
    std::vector<std::string> arguments;  // the last one first
    for (int i = argc - 1; i > 0; --i) {
        std::string& argument = arguments.emplace_back(argv[i]);
        if (argument.starts_with('[') && argument.ends_with(']')) argument += '\0';
    }
    app.parse(std::move(arguments));
}

// What somebody may have meant by words that nothing takes; empty when nothing is like them.
std::string meant(const CLI::App& app) {
    const std::vector<CLI::App*> parsed = app.get_subcommands();
    for (const std::string& word : app.remaining(true)) {
        const bool isOption = word.starts_with('-');
        if (parsed.empty() && !isOption) return suggestion(word, namesOf(app), "there are ");
        if (!isOption) continue;
        const std::string like =
            mostSimilar(word.substr(0, word.find('=')), optionsOf(parsed.empty() ? app : *parsed.front()));
        return like.empty() ? "" : fmt::format("did you mean '{}'?", like);
    }
    return {};
}

}  // namespace

Command readCommandLine(int argc, char** argv) {
    CLI::App app("Symbolizes nautical chart datasets with CXML documents.", "cxml");
    app.set_version_flag("--version", "cxml " CXML_VERSION);
    app.require_subcommand(0, 1);  // none is refused below, in better words
    app.footer(
        "'cxml COMMAND --help' tells more.\n"
        "Exit status: 0 all well; 1 the document did not load or a layer's run failed; 2 wrong usage, or a dataset or\n"
        "layer that cannot be opened or written; 130 interrupted.");
    Command command;
    addImport(app, command);
    addInit(app, command);
    addSymbolize(app, command);
    addReset(app, command);
    addExplain(app, command);
    addLedger(app, command);
    addDiff(app, command);
    addCoverage(app, command);
    addReport(app, command);
    addTest(app, command);
    addPin(app, command);
    addCheck(app, command);
    addFmt(app, command);
    addSchema(app, command);
    addDraw(app, command);
    addStyle(app, command);
    addSymbols(app, command);
    addLookups(app, command);
    addCompletion(app, command);
    addHelp(app, command);
    try {
        parse(app, argc, argv);
    } catch (const CLI::Success& e) {  // help and version
        app.exit(e);
        return said("");
    } catch (const CLI::ParseError& e) {
        const std::string like = meant(app);
        throw UsageError{fmt::format("{}{}{} (see 'cxml --help')", oneLine(e.what()), like.empty() ? "" : "; ", like)};
    }
    if (!command)
        throw UsageError{fmt::format("a command is missing: {} (see 'cxml --help')", fmt::join(namesOf(app), ", "))};
    return command;
}

}  // namespace cxml
