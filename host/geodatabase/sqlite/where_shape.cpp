// Reading where clauses as SQLite does, as far as it takes to find the literals that are compared with names.
#include "host/geodatabase/sqlite/where_shape.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace embedded_host {

namespace {

// Longer clauses are prepared one by one: a shape would be looked for in vain, or kept for nothing.
constexpr std::size_t longestClause = 4096;
constexpr std::size_t mostLiterals = 32;

constexpr bool isSpace(char c) noexcept {
    return c == ' ' || (c >= '\t' && c <= '\r' && c != '\v');
}

constexpr bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

constexpr bool beginsName(char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

constexpr bool continuesName(char c) noexcept {
    return beginsName(c) || isDigit(c);
}

/// Length of what stands between two quotes of the kind that `text` begins with, quotes included; 0 without an end.
std::size_t quotedLength(std::string_view text) noexcept {
    for (std::size_t at = 1;; at += 2) {
        at = text.find(text.front(), at);
        if (at == std::string_view::npos) return 0;
        if (at + 1 == text.size() || text[at + 1] != text.front()) return at + 1;
    }
}

bool equalWords(std::string_view word, std::string_view upperCase) noexcept {
    return std::ranges::equal(word, upperCase, [](char c, char upper) { return (c & ~0x20) == upper; });
}

bool isLogic(std::string_view word) noexcept {
    return equalWords(word, "AND") || equalWords(word, "OR") || equalWords(word, "NOT");
}

std::size_t nameLength(std::string_view text) noexcept {
    return static_cast<std::size_t>(std::ranges::find_if_not(text, continuesName) - text.begin());
}

}  // namespace

WhereShape::Token WhereShape::nextToken(std::string_view rest) noexcept {
    const char first = rest.front();
    if (first == '\'' || first == '"') {
        const std::size_t length = quotedLength(rest);
        if (length == 0) return {Kind::Unknown, {}};
        return {first == '"' ? Kind::Name : Kind::Literal, rest.substr(0, length)};
    }
    if (beginsName(first) || isDigit(first)) {
        const std::string_view word = rest.substr(0, nameLength(rest));
        const char next = word.size() == rest.size() ? ' ' : rest[word.size()];
        constexpr std::size_t mostDigits = 18;  // any such number is a 64-bit integer
        if (isDigit(first)) {
            const bool whole = word.size() <= mostDigits && next != '.' && std::ranges::all_of(word, isDigit);
            return {whole ? Kind::Literal : Kind::Unknown, word};
        }
        if (next == '\'') return {Kind::Unknown, {}};  // x'00' is one thing
        return {isLogic(word) ? Kind::Logic : Kind::Name, word};
    }
    const char second = rest.size() > 1 ? rest[1] : ' ';
    const std::string_view one = rest.substr(0, 1);
    const std::string_view two = rest.substr(0, 2);
    switch (first) {
        case '(':
            return {Kind::Opening, one};
        case ')':
            return {Kind::Closing, one};
        case '=':
            return {Kind::Comparison, second == '=' ? two : one};
        case '<':
            if (second == '<') return {Kind::Other, two};
            return {Kind::Comparison, second == '=' || second == '>' ? two : one};
        case '>':
            if (second == '>') return {Kind::Other, two};
            return {Kind::Comparison, second == '=' ? two : one};
        case '!':
            if (second != '=') return {Kind::Unknown, {}};
            return {Kind::Comparison, two};
        case '-':
            if (second == '-') return {Kind::Unknown, {}};    // a comment
            return {Kind::Other, second == '>' ? two : one};  // "->", which begins "->>" too
        case '/':
            if (second == '*') return {Kind::Unknown, {}};
            return {Kind::Other, one};
        case ',':
        case '+':
        case '*':
        case '%':
        case '&':
        case '|':
        case '~':
            return {Kind::Other, one};
        default:
            return {Kind::Unknown, {}};
    }
}

void WhereShape::takeLiteral(std::string_view literal) {
    if (count_ == literals_.size()) literals_.emplace_back();
    auto& [part, cell] = literals_[count_++];
    cell.state = Cell::State::Value;
    if (literal.front() != '\'') {
        part = CellPart::Integer;
        std::from_chars(literal.data(), literal.data() + literal.size(), cell.integer);
        return;
    }
    part = CellPart::Text;
    cell.text.clear();
    std::string_view rest = literal.substr(1, literal.size() - 2);
    for (std::size_t quote = rest.find('\''); quote != std::string_view::npos; quote = rest.find('\'')) {
        cell.text += rest.substr(0, quote + 1);  // a doubled quote stands for one
        rest.remove_prefix(quote + 2);
    }
    cell.text += rest;
}

bool WhereShape::read(std::string_view clause) {
    text_.clear();
    count_ = 0;
    // SQLite's reader ends at a zero.
    if (clause.size() > longestClause || clause.find('\0') != std::string_view::npos) return false;

    std::array<Kind, 4> last{Kind::Other, Kind::Other, Kind::Other, Kind::Edge};  // the tokens before this one
    std::string_view literal;                                                     // the last of them, if it is one
    const auto endLiteral = [&](Kind next) {
        if (last[3] != Kind::Literal) return;
        const bool begins = last[0] == Kind::Edge || last[0] == Kind::Opening || last[0] == Kind::Logic;
        const bool ends = next == Kind::Edge || next == Kind::Closing || next == Kind::Logic;
        if (begins && last[1] == Kind::Name && last[2] == Kind::Comparison && ends) {
            takeLiteral(literal);
            text_ += '?';
        } else {
            text_ += literal;
        }
    };
    for (std::string_view rest = clause;;) {
        const auto blanks = static_cast<std::size_t>(std::ranges::find_if_not(rest, isSpace) - rest.begin());
        rest.remove_prefix(blanks);
        const Token token = rest.empty() ? Token{Kind::Edge, {}} : nextToken(rest);
        if (token.kind == Kind::Unknown) return false;
        endLiteral(token.kind);
        if (token.kind == Kind::Edge) return count_ <= mostLiterals;
        if (blanks != 0) text_ += ' ';
        if (token.kind == Kind::Literal)
            literal = token.text;
        else
            text_ += token.text;
        std::ranges::copy(last.begin() + 1, last.end(), last.begin());
        last.back() = token.kind;
        rest.remove_prefix(token.text.size());
    }
}

}  // namespace embedded_host
