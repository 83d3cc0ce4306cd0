#include "tools/lookups/instruction.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <span>

namespace cxml {
namespace {

using namespace std::string_view_literals;

constexpr std::array words{"SY"sv, "LC"sv, "LS"sv, "AC"sv, "AP"sv, "TX"sv, "TE"sv, "CS"sv};

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view space = " \t\r\n";
    const std::size_t begin = std::min(text.find_first_not_of(space), text.size());
    const std::size_t end = text.find_last_not_of(space);
    return end == std::string_view::npos ? std::string_view() : text.substr(begin, end + 1 - begin);
}

// Cut where the mark stands outside of quotes.
std::vector<std::string_view> cut(std::string_view text, char mark) {
    std::vector<std::string_view> parts;
    std::size_t begin = 0;
    bool isQuoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\'') isQuoted = !isQuoted;
        if (isQuoted || text[i] != mark) continue;
        parts.push_back(text.substr(begin, i - begin));
        begin = i + 1;
    }
    parts.push_back(text.substr(begin));
    return parts;
}

bool isQuote(std::string_view text) {
    return text.size() >= 2 && text.front() == '\'' && text.back() == '\'';
}

// What documents and pictures are named by.
bool isName(std::string_view text) {
    const auto isPart = [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
    };
    return !text.empty() && std::ranges::all_of(text, isPart);
}

// Tables in use have instructions without the closing parenthesis, or with two.
std::optional<Piece> readPiece(std::string_view text) {
    const std::size_t open = text.find('(');
    if (open == std::string_view::npos) return std::nullopt;
    std::string_view inside = text.substr(open + 1);
    while (inside.ends_with(')')) inside.remove_suffix(1);
    Piece piece;
    piece.word = text.substr(0, open);
    piece.text = text;
    if (std::ranges::find(words, piece.word) == words.end()) return std::nullopt;
    for (std::string_view argument : cut(inside, ',')) {
        argument = trimmed(argument);
        piece.quoted.push_back(isQuote(argument));
        if (isQuote(argument)) argument = argument.substr(1, argument.size() - 2);
        piece.arguments.emplace_back(argument);
    }
    if (piece.isText()) return piece;
    const bool isLineStyle = piece.word == "LS";
    constexpr std::size_t ofLineStyle = 3;  // DASH,3,CHMGD
    constexpr std::size_t mostOfOthers = 2;
    if (isLineStyle ? piece.arguments.size() != ofLineStyle : piece.arguments.size() > mostOfOthers)
        return std::nullopt;
    const std::size_t named = isLineStyle || piece.word == "AC" ? piece.arguments.size() : 1;
    if (!std::ranges::all_of(std::span(piece.arguments).first(named), isName)) return std::nullopt;
    return piece;
}

bool isClosedOnce(std::string_view text) {
    return text.ends_with(')') && !text.ends_with("))");
}

std::span<const std::string_view> precedence(Primitive primitive) {
    static constexpr std::array ofPoints{"SY"sv, "CS"sv};
    static constexpr std::array ofLines{"LC"sv, "LS"sv, "SY"sv, "CS"sv};
    static constexpr std::array ofAreas{"SY"sv, "AP"sv, "AC"sv, "LC"sv, "LS"sv, "CS"sv};
    if (primitive == Primitive::Point) return ofPoints;
    if (primitive == Primitive::Line) return ofLines;
    return ofAreas;
}

}  // namespace

Instruction readInstruction(std::string_view text) {
    Instruction instruction;
    for (std::string_view part : cut(text, ';')) {
        part = trimmed(part);
        if (part.empty()) continue;
        std::optional<Piece> piece = readPiece(part);
        if (!piece || !isClosedOnce(part)) instruction.odd.emplace_back(part);
        if (piece) instruction.pieces.push_back(std::move(*piece));
    }
    return instruction;
}

std::string documentNameOf(const Piece& piece) {
    if (piece.isText()) return {};
    if (piece.word == "AC") return fmt::format("{}", fmt::join(piece.arguments, "_"));
    if (piece.word == "LS") return fmt::format("LS_{}", fmt::join(piece.arguments, "_"));
    return piece.isProcedure() ? "CS_" + piece.arguments.front() : piece.arguments.front();
}

const Piece* symbolPiece(const Instruction& instruction, Primitive primitive) {
    for (const std::string_view word : precedence(primitive)) {
        const auto found = std::ranges::find(instruction.pieces, word, &Piece::word);
        if (found != instruction.pieces.end()) return &*found;
    }
    return nullptr;
}

std::optional<Rotation> rotationOf(const Piece& piece) {
    if (piece.word != "SY" || piece.arguments.size() < 2) return std::nullopt;
    const std::string& turn = piece.arguments[1];
    double degrees = 0;
    const auto [end, error] = std::from_chars(turn.data(), turn.data() + turn.size(), degrees);
    constexpr double most = 360;
    if (error == std::errc() && end == turn.data() + turn.size()) {
        if (std::abs(degrees) <= most) return Rotation{degrees, {}};
        return std::nullopt;
    }
    if (!canBeArgument(turn)) return std::nullopt;
    return Rotation{std::nullopt, turn};
}

bool canBeArgument(std::string_view field) {
    constexpr std::size_t acronymLength = 6;
    constexpr std::array keywords{"assert"sv, "except"sv, "global"sv, "import"sv, "lambda"sv, "return"sv};
    const auto isPart = [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
    };
    return field.size() == acronymLength && std::ranges::all_of(field, isPart) &&
           (field.front() < '0' || field.front() > '9') && std::ranges::find(keywords, field) == keywords.end();
}

}  // namespace cxml
