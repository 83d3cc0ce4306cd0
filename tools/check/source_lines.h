// SourceLines: where the lines of an assembled Python source were written.
#pragma once

#include "place.h"

#include <string>
#include <vector>

namespace cxml {

/// Collects the texts that make up a source, in order, with the place where each begins.
class SourceLines {
public:
    void add(WideView text, const Place& place);

    /// Where a line of the finished source (from 1) was written: the place of its first character that is no white
    /// space. \param escapesResolved whether the finished source has a line feed for each backslash and n.
    Place find(int line, bool escapesResolved) const;

private:
    struct Piece {
        WideString text;
        Place place;
    };

    std::vector<Piece> pieces_;
};

}  // namespace cxml
