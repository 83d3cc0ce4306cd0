// The instruction of a row of a look-up table: SY(MARKAA01);LS(DASH,3,CHMGD);CS(TOPMRK01)
#pragma once

#include "tools/lookups/lookup_tables.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cxml {

struct Piece {
    std::string word;                    // SY, LC, LS, AC, AP, TX, TE or CS
    std::vector<std::string> arguments;  // without the quotes around them
    std::vector<bool> quoted;            // of each argument
    std::string text;                    // as written

    bool isText() const { return word == "TX" || word == "TE"; }
    bool isProcedure() const { return word == "CS"; }
};

struct Instruction {
    std::vector<Piece> pieces;
    std::vector<std::string> odd;  // what is none, or is not closed as it should be
};

Instruction readInstruction(std::string_view text);

/// The name by which a piece is known in a document: that of its symbol, line or pattern, the token of a fill, and
/// LS_DASH_3_CHMGD, CS_TOPMRK01; a transparent fill is DEPVS_3. Empty for texts.
std::string documentNameOf(const Piece& piece);

/// The piece that gives a row of the primitive its symbol; null when none does.
const Piece* symbolPiece(const Instruction& instruction, Primitive primitive);

/// How far a symbol is turned.
struct Rotation {
    std::optional<double> degrees;  // clockwise from north
    std::string field;              // the attribute that has them; empty without one

    bool operator==(const Rotation&) const = default;
};

/// Nothing when the symbol is not turned, or what turns it is neither a number nor an attribute.
std::optional<Rotation> rotationOf(const Piece& piece);

/// Whether an attribute can be an argument of a function.
bool canBeArgument(std::string_view field);

}  // namespace cxml
