// The arguments that every command over layers has.
#pragma once

#include "layer_run.h"

#include <CLI/CLI.hpp>

namespace cxml {

void addLayerOptions(CLI::App& command, LayerArguments& arguments);
/// The two halves of it around LAYER.
void addDatasetOptions(CLI::App& command, LayerArguments& arguments);
/// -l, for a command that has added LAYER to the same names.
void addLayerOption(CLI::App& command, std::vector<std::string>& layers);
void addOutputOptions(CLI::App& command, LayerArguments& arguments);

void addDocumentOption(CLI::App& command, std::string& document);

/// Why the text of an option is no condition, "" when it may be one: an empty variable of a script must not mean every
/// row.
std::string whyNoCondition(const std::string& text);
void addWhereOption(CLI::App& command, std::optional<std::string>& where);

/// Which rows of the layers, and by which subtype field.
struct RowArguments {
    std::optional<std::string> where;
    std::optional<std::string> ids;
    std::vector<std::string> subtypeOptions;
};

void addRowOptions(CLI::App& command, RowArguments& arguments);

void addSubtypeOption(CLI::App& command, std::vector<std::string>& options);
/// \throws CLI::ValidationError when they cannot be read.
SubtypeFields subtypeFieldsOf(const std::vector<std::string>& options);

/// Has the work run over these rows. \throws CLI::ValidationError for subtype fields that cannot be read.
void limitTo(const RowArguments& arguments, LayerWork& work);

}  // namespace cxml
