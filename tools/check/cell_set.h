// CellSet: some of the cells that the values of a field are cut into.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace cxml {

/// A set of numbers, kept as its runs: the values that a rule holds for lie beside each other.
class CellSet {
public:
    using Cell = std::uint32_t;
    using Run = std::pair<Cell, Cell>;  // the first, and the one behind the last

    CellSet() = default;
    CellSet(Cell begin, Cell end) {
        if (begin < end) runs_.emplace_back(begin, end);
    }

    /// Adds cells behind all that are in it.
    void append(Cell begin, Cell end);
    bool contains(Cell cell) const noexcept;
    bool empty() const noexcept { return runs_.empty(); }
    /// How many there are.
    std::size_t count() const noexcept;
    const std::vector<Run>& runs() const noexcept { return runs_; }

    friend CellSet operator&(const CellSet& a, const CellSet& b);
    friend CellSet operator-(const CellSet& a, const CellSet& b);
    bool operator==(const CellSet&) const = default;

private:
    std::vector<Run> runs_;  // ascending, none touches the next
};

}  // namespace cxml
