// RowCover: the fewest rows in which everything occurs that occurs in all rows.
#pragma once

#include "symbology/host_interfaces.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace cxml {

/// Rows come one after the other, each with what occurs in it, as numbers. Memory grows with what is different among
/// the rows, up to a bound, and not with the rows.
class RowCover {
public:
    using Elements = std::vector<std::uint32_t>;           // ascending, each once
    static constexpr std::size_t elementsKept = 10000000;  // from there on only rows with something new are kept

    /// What occurs elsewhere need not occur in the chosen rows.
    void know(const Elements& elements);
    void add(ObjectId row, const Elements& elements);

    /// Greedily: next the row with the most that no row before has; of several the first. \param most how many; 0 for
    /// as many as it takes.
    std::vector<ObjectId> choose(std::size_t most) const;

private:
    enum State : char { Unseen, Seen, Known };
    State& stateOf(std::uint32_t element);

    std::map<Elements, ObjectId> rows_;  // the first with these
    std::size_t size_ = 0;               // of all keys
    std::vector<State> states_;          // by element
};

}  // namespace cxml
