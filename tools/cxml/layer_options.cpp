#include "layer_options.h"

#include "object_ids.h"

#include <fmt/format.h>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace cxml {
namespace {

constexpr std::size_t longestClause = 1'000'000;

// Puts the content of the file that "@FILE" names in the place of the text. Why that cannot be, "" when it is done.
std::string putFileContent(std::string& text) {
    if (!text.starts_with('@')) return {};
    const std::string path = text.substr(1);
    const auto whyNot = [&] { return fmt::format("{}: {}", path, std::generic_category().message(errno)); };
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "re"), &std::fclose);
    if (!file) return whyNot();
    std::string content(longestClause + 1, '\0');
    content.resize(std::fread(content.data(), 1, content.size(), file.get()));
    if (std::ferror(file.get())) return whyNot();
    if (content.size() > longestClause) return fmt::format("{}: longer than {} bytes", path, longestClause);
    if (content.find('\0') != std::string::npos) return fmt::format("{}: no text", path);
    if (content.starts_with("\xEF\xBB\xBF")) content.erase(0, 3);
    text = std::move(content);
    return {};
}

}  // namespace

void addDocumentOption(CLI::App& command, std::string& document) {
    command.add_option("DOCUMENT", document, "the CXML document; - is standard input")
        ->required()
        ->type_name("")
        ->transform([](const std::string& name) { return name == "-" ? "/dev/stdin" : name; });
}

void addDatasetOptions(CLI::App& command, LayerArguments& arguments) {
    addDocumentOption(command, arguments.document);
    command.add_option("DATASET", arguments.dataset, "a GeoPackage file or a connection string (PG:...)")
        ->required()
        ->type_name("");
}

void addLayerOptions(CLI::App& command, LayerArguments& arguments) {
    addDatasetOptions(command, arguments);
    command
        .add_option("LAYER", arguments.layers,
                    "layers to run over; without any, all that the document has a configuration for")
        ->type_name("");
    addLayerOption(command, arguments.layers);
    addOutputOptions(command, arguments);
}

// Behind LAYER, whose names it would lose otherwise.
void addLayerOption(CLI::App& command, std::vector<std::string>& layers) {
    command
        .add_option_function<std::vector<std::string>>(
            "-l,--layer",
            [&layers](const std::vector<std::string>& names) {
                layers.insert(layers.end(), names.begin(), names.end());
            },
            "the same as LAYER; may be repeated")
        ->type_name("LAYER")
        ->allow_extra_args(false);
}

void addOutputOptions(CLI::App& command, LayerArguments& arguments) {
    command.add_flag("--json", arguments.json, "write one JSON object to standard output, with every message");
    command.add_flag("-q,--quiet", arguments.quiet, "show no progress bar");
    command
        .add_option("--lock-timeout", arguments.lockTimeout,
                    "how long to wait for rows or a file that someone else has locked")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, 1e6));
    addServiceOptions(command, arguments.services);
}

std::string whyNoCondition(const std::string& text) {
    return text.find_first_not_of(" \t\r\n") == std::string::npos ? "a condition is missing" : "";
}

void addWhereOption(CLI::App& command, std::optional<std::string>& where) {
    command.add_option("--where", where, "only rows that satisfy this condition, or the one in a file")
        ->type_name("SQL|@FILE")
        ->check(whyNoCondition)
        ->transform(CLI::Validator(putFileContent, ""));
}

void addRowOptions(CLI::App& command, RowArguments& arguments) {
    addWhereOption(command, arguments.where);
    command.add_option("--fids", arguments.ids, "only rows with these ids")
        ->type_name("N,N,...")
        ->check([](const std::string& text) { return whyNotObjectIds(text); });
    addSubtypeOption(command, arguments.subtypeOptions);
}

void addSubtypeOption(CLI::App& command, std::vector<std::string>& options) {
    command
        .add_option("--subtype-field", options,
                    "the field that holds the subtype of a row, of one layer or of all that have it; may be repeated")
        ->type_name("[LAYER=]FIELD")
        ->allow_extra_args(false);
}

SubtypeFields subtypeFieldsOf(const std::vector<std::string>& options) {
    try {
        return readSubtypeFields(options);
    } catch (const std::invalid_argument& error) {
        throw CLI::ValidationError("--subtype-field", error.what());
    }
}

void limitTo(const RowArguments& arguments, LayerWork& work) {
    work.subtypeFields = subtypeFieldsOf(arguments.subtypeOptions);
    if (!arguments.where && !arguments.ids) return;
    work.select = [where = arguments.where, ids = arguments.ids ? parseObjectIds(*arguments.ids) : std::nullopt](
                      embedded_host::GdalWorkspace& workspace, const std::string& layer) {
        return workspace.select(layer, where, ids);
    };
}

}  // namespace cxml
