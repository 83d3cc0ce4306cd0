// Differences between texts, and that they make one of the other.
#include "tools/format/unified_diff.h"

#include <gtest/gtest.h>
#include <cstdio>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using std::string;

std::vector<string> linesOf(const string& text) {
    std::vector<string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
        lines.push_back(text.substr(at, end - at));
        at = end;
    }
    return lines;
}

// As strict as can be: lines, counts and places must all be right.
string applied(const string& before, const string& diff) {
    const std::vector<string> old = linesOf(before);
    const std::vector<string> lines = linesOf(diff);
    string result;
    std::size_t at = 0;
    std::size_t made = 0;
    for (std::size_t i = 2; i < lines.size();) {
        unsigned long x = 0;
        unsigned long xs = 0;
        unsigned long y = 0;
        unsigned long ys = 0;
        std::istringstream head(lines[i++]);
        string marks;
        char sign = 0;
        if (!(head >> marks >> sign >> x >> sign >> xs >> sign >> y >> sign >> ys)) throw std::runtime_error("head");
        for (const std::size_t begin = xs > 0 ? x - 1 : x; at < begin; ++made) result += old.at(at++);
        if (made != (ys > 0 ? y - 1 : y)) throw std::runtime_error("place");
        while (xs > 0 || ys > 0) {
            string line = lines.at(i).substr(1);
            const char mark = lines.at(i++)[0];
            if (i < lines.size() && lines[i].starts_with('\\')) {
                line.pop_back();
                ++i;
            }
            if (mark != '+' && (xs-- == 0 || old.at(at++) != line)) throw std::runtime_error("old line");
            if (mark == '-') continue;
            if (ys-- == 0) throw std::runtime_error("count");
            result += line;
            ++made;
        }
    }
    while (at < old.size()) result += old[at++];
    return result;
}

TEST(UnifiedDiff, smallOnes) {
    EXPECT_EQ(cxml::unifiedDiff("a\nb\n", "a\nb\n", "n"), "");
    EXPECT_EQ(cxml::unifiedDiff("a\nb\nc\n", "a\nB\nc\n", "n"), "--- a/n\n+++ b/n\n@@ -1,3 +1,3 @@\n a\n-b\n+B\n c\n");
    EXPECT_EQ(cxml::unifiedDiff("a", "a\n", "n"),
              "--- a/n\n+++ b/n\n@@ -1,1 +1,1 @@\n-a\n\\ No newline at end of file\n+a\n");
    EXPECT_EQ(cxml::unifiedDiff("", "a\n", "n"), "--- a/n\n+++ b/n\n@@ -0,0 +1,1 @@\n+a\n");
}

TEST(UnifiedDiff, farChangesAreApart) {
    const string middle = "1\n2\n3\n4\n5\n6\n";
    EXPECT_EQ(cxml::unifiedDiff("a\n" + middle + "b\n", "A\n" + middle + "B\n", "n"),
              "--- a/n\n+++ b/n\n@@ -1,8 +1,8 @@\n-a\n+A\n 1\n 2\n 3\n 4\n 5\n 6\n-b\n+B\n");
    EXPECT_EQ(cxml::unifiedDiff("a\n" + middle + "7\nb\n", "A\n" + middle + "7\nB\n", "n"),
              "--- a/n\n+++ b/n\n@@ -1,4 +1,4 @@\n-a\n+A\n 1\n 2\n 3\n@@ -6,4 +6,4 @@\n 5\n 6\n 7\n-b\n+B\n");
}

TEST(UnifiedDiff, makesOneTextOfTheOther) {
    std::mt19937 generator(7);
    const auto random = [&] { return static_cast<unsigned>(generator()); };
    for (int round = 0; round < 3000; ++round) {
        string before;
        string after;
        const unsigned rarity = 2 + random() % 30;
        for (unsigned i = 0, lines = random() % 80; i < lines; ++i) {
            const string line = string(1, static_cast<char>('a' + random() % 5)) + '\n';
            if (random() % rarity != 0) before += line;
            if (random() % rarity != 0) after += line;
        }
        if (random() % 3 == 0) before += "last";
        if (random() % 3 == 0) after += "last";
        if (before == after) continue;
        const string diff = cxml::unifiedDiff(before, after, "text");
        ASSERT_EQ(applied(before, diff), after) << "round " << round << '\n' << diff;
    }
}

TEST(UnifiedDiff, textsWithNothingInCommonTakeNoSquareOfMemory) {
    string before;
    string after = "same\n";
    for (int i = 0; i < 100'000; ++i) {
        before += "a" + std::to_string(i) + '\n';
        after += "b" + std::to_string(i) + '\n';
    }
    before = "same\n" + before;
    EXPECT_EQ(applied(before, cxml::unifiedDiff(before, after, "text")), after);
}

}  // namespace
