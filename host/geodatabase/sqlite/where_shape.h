// The shape of a where clause: its text with parameters in the place of literals, so that one statement serves all
// clauses that differ in nothing but their values.
#pragma once

#include "host/geodatabase/base/cell.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace embedded_host {

/// A literal is taken out of a clause only where it is compared with a name, as in `name = 'x'` between the clause's
/// ends, parentheses, AND, OR and NOT. There SQLite's grammar reads a parameter as it reads a literal, neither has an
/// affinity or a collation, and the value that is bound is the one that the literal would have: so the answer is the
/// same. A clause with anything that this class does not know (comments, parameters, numbers that are not whole,
/// zero characters, ...) has no shape, and is for SQLite alone to read.
class WhereShape {
public:
    /// Reads a clause; what the last one left is forgotten, its storage is used again.
    /// \return whether the clause has a shape.
    bool read(std::string_view clause);

    /// The clause with "?" for each literal that was taken out.
    const std::string& text() const noexcept { return text_; }

    std::size_t literalCount() const noexcept { return count_; }
    /// A literal, in the order of the clause, and which part of the cell it is in.
    const std::pair<CellPart, Cell>& literal(std::size_t i) const noexcept { return literals_[i]; }

private:
    enum class Kind { Edge, Logic, Opening, Closing, Name, Comparison, Literal, Other, Unknown };
    struct Token {
        Kind kind;
        std::string_view text;
    };

    static Token nextToken(std::string_view rest) noexcept;
    void takeLiteral(std::string_view literal);

    std::string text_;
    std::vector<std::pair<CellPart, Cell>> literals_;  // those from count_ on are left from earlier clauses
    std::size_t count_ = 0;
};

}  // namespace embedded_host
