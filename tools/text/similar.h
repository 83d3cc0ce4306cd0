// Names that somebody may have meant.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace cxml {

/// Insertions, removals, replacements and swaps of neighbours, of bytes, that turn one text into the other.
std::size_t editDistance(std::string_view a, std::string_view b);

/// Whether somebody who wrote the one may have meant the other: at most two edits, never more than half of what was
/// written, letters in any case.
bool areSimilar(std::string_view written, std::string_view name);

/// The name that is most like what was written; empty when none is similar. The first of equally similar ones.
std::string mostSimilar(std::string_view written, std::span<const std::string> names);

/// "did you mean 'lte'?"; without a similar name the list of all behind `otherwise`, and nothing when there are none.
std::string suggestion(std::string_view written, std::span<const std::string> names, std::string_view otherwise);

}  // namespace cxml
