// The arguments that every command over layers has.
#pragma once

#include "layer_run.h"

#include <CLI/CLI.hpp>

namespace cxml {

void addLayerOptions(CLI::App& command, LayerArguments& arguments);

}  // namespace cxml
