// Where the lines of an assembled source were written.
#include "tools/check/source_lines.h"

#include <gtest/gtest.h>
#include <ostream>

namespace {

using cxml::Place;
using cxml::SourceLines;

struct LineCase {
    const char* name;
    std::vector<const OLECHAR*> pieces;  // the first begins in a:10, the others in b:1, c:1 ...
    bool escapesResolved;
    int line;
    const char* place;
};

void PrintTo(const LineCase& tested, std::ostream* out) {
    *out << tested.name;
}

class SourceLine : public testing::TestWithParam<LineCase> {};

TEST_P(SourceLine, IsFound) {
    SourceLines lines;
    char file = 'a';
    for (const OLECHAR* piece : GetParam().pieces) {
        lines.add(piece, {std::string(1, file), file == 'a' ? 10 : 1});
        ++file;
    }
    const Place place = lines.find(GetParam().line, GetParam().escapesResolved);
    EXPECT_EQ(place.file + ":" + std::to_string(place.line), GetParam().place);
}

const LineCase lineCases[] = {
    {"First", {OLESTR("x\ny")}, false, 1, "a:10"},
    {"Second", {OLESTR("x\ny")}, false, 2, "a:11"},
    {"SecondPiece", {OLESTR("x\n"), OLESTR("y\nz")}, false, 3, "b:2"},
    {"LineOfTwoPieces", {OLESTR("x"), OLESTR("y")}, false, 1, "a:10"},
    {"LineThatASecondPieceFills", {OLESTR("x\n  "), OLESTR("y")}, false, 2, "b:1"},
    {"CarriageReturnAndLineFeed", {OLESTR("x\r\ny")}, false, 2, "a:11"},
    {"CarriageReturn", {OLESTR("x\ry")}, false, 2, "a:11"},
    {"EscapedFeed", {OLESTR("x\\ny\nz")}, true, 2, "a:10"},
    {"BehindAnEscapedFeed", {OLESTR("x\\ny\nz")}, true, 3, "a:11"},
    {"EscapedFeedThatStays", {OLESTR("x\\ny\nz")}, false, 2, "a:11"},
    {"EscapedBackslash", {OLESTR("x\\\\ny\nz")}, true, 2, "a:11"},
    {"EscapeAcrossPieces", {OLESTR("x\\"), OLESTR("ny")}, true, 2, "b:1"},
    {"BackslashAtALineEnd", {OLESTR("x\\\ny")}, true, 2, "a:11"},
    {"BehindTheEnd", {OLESTR("x\ny\n")}, false, 9, "a:12"},
    {"BlankLine", {OLESTR("x\n\ny")}, false, 2, "a:11"},
    {"None", {}, false, 1, ":0"},
};

INSTANTIATE_TEST_SUITE_P(All, SourceLine, testing::ValuesIn(lineCases),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
