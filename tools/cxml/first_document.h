// A document to begin with: what a dataset has, and examples of rules over it.
#pragma once

#include "layer_survey.h"

#include <string>
#include <vector>

namespace cxml {

/// A document that gives every row of the layers one symbol, with what the layers hold and examples of rules in
/// comments.
/// \param dataset its name. \param others names of layers that were left out.
std::string firstDocument(const std::string& dataset, const std::vector<LayerSurvey>& layers,
                          const std::vector<std::string>& others);

/// Examples of the four kinds of rules over the fields of `layer`, each a comment of whole lines: without its first and
/// its last line it is a condition.
std::string exampleConditions(const LayerSurvey& layer, const std::vector<LayerSurvey>& layers);

}  // namespace cxml
