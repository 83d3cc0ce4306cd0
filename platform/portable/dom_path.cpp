#include "platform/portable/dom_path.h"

#include "platform/portable/dom_text.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace symbology_platform::dom {

namespace {

bool isAsciiNameStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isAsciiNameCharacter(char c) {
    return isAsciiNameStart(c) || isDigit(c) || c == '-' || c == '.';
}
bool isNameStart(char c) {
    return isAsciiNameStart(c) || static_cast<unsigned char>(c) >= 0x80;
}
bool isNameCharacter(char c) {
    return isAsciiNameCharacter(c) || static_cast<unsigned char>(c) >= 0x80;
}

/// The length of the name without colon at `at`, or 0.
template <class Start, class Character>
std::size_t nameLength(std::string_view text, std::size_t at, Start isStart, Character isCharacter) {
    if (at >= text.size() || !isStart(text[at])) return 0;
    std::size_t end = at + 1;
    while (end < text.size() && isCharacter(text[end])) ++end;
    return end - at;
}

bool isSimpleName(std::string_view name) {
    const std::size_t first = nameLength(name, 0, isAsciiNameStart, isAsciiNameCharacter);
    if (first == 0 || first == name.size()) return first != 0;
    const std::size_t second = nameLength(name, first + 1, isAsciiNameStart, isAsciiNameCharacter);
    return name[first] == ':' && second != 0 && first + 1 + second == name.size();
}

/// Whether parentheses may follow the name: the functions and node types of XPath 1.0. libxml2 complains about others
/// on the process's error output.
bool isFunction(std::string_view name) {
    static constexpr std::string_view names[] = {"boolean",
                                                 "ceiling",
                                                 "comment",
                                                 "concat",
                                                 "contains",
                                                 "count",
                                                 "false",
                                                 "floor",
                                                 "id",
                                                 "lang",
                                                 "last",
                                                 "local-name",
                                                 "name",
                                                 "namespace-uri",
                                                 "node",
                                                 "normalize-space",
                                                 "not",
                                                 "number",
                                                 "position",
                                                 "processing-instruction",
                                                 "round",
                                                 "starts-with",
                                                 "string",
                                                 "string-length",
                                                 "substring",
                                                 "substring-after",
                                                 "substring-before",
                                                 "sum",
                                                 "text",
                                                 "translate",
                                                 "true"};
    return std::ranges::find(names, name) != std::end(names);
}

/// Copies an expression token by token.
class NameRewriter {
public:
    explicit NameRewriter(std::string_view text) : text_(text) {}

    std::string rewrite() {
        while (at_ < text_.size() && valid_) copyToken();
        return valid_ ? std::move(result_) : std::string();
    }

private:
    void copyToken() {
        const char c = text_[at_];
        if (isSpace(c)) return copy(1);
        if (c == '"' || c == '\'') return copyLiteral(c);
        if (isDigit(c) || (c == '.' && isDigit(peek(1)))) return copyNumber();
        if (isNameStart(c)) return copyName();
        if (c == '$') return reject();                       // no variable is ever defined
        if (text_.substr(at_, 3) == "///") return reject();  // libxml2 lets it pass
        if (text_.substr(at_, 2) == "::" || text_.substr(at_, 2) == "..") {
            operandBefore_ = c == '.';
            return copy(2);
        }
        // A star after an operand multiplies, elsewhere it stands for every name.
        operandBefore_ = c == ')' || c == ']' || c == '.' || (c == '*' && !operandBefore_);
        copy(1);
    }

    void copyLiteral(char quote) {
        const std::size_t close = text_.find(quote, at_ + 1);
        copy(close == std::string_view::npos ? text_.size() - at_ : close + 1 - at_);
        operandBefore_ = true;
    }

    void copyNumber() {
        while (isDigit(peek(0)) || peek(0) == '.') copy(1);
        operandBefore_ = true;
    }

    void copyName() {
        const std::size_t first = nameLength(text_, at_, isNameStart, isNameCharacter);
        if (operandBefore_) {  // and, or, div, mod
            operandBefore_ = false;
            return copy(first);
        }
        std::size_t length = first;
        bool anyLocalName = false;
        if (peek(first) == ':' && peek(first + 1) == '*') {
            anyLocalName = true;
            length += 2;
        } else if (peek(first) == ':') {
            if (const std::size_t local = nameLength(text_, at_ + first + 1, isNameStart, isNameCharacter))
                length += 1 + local;
        }
        const std::size_t next = text_.find_first_not_of(" \t\r\n", at_ + length);
        const std::string_view rest = next == std::string_view::npos ? std::string_view() : text_.substr(next);
        const std::string_view name = text_.substr(at_, length);
        if (rest.starts_with("::")) return copy(length);
        if (rest.starts_with('(')) return isFunction(name) ? copy(length) : reject();
        if (anyLocalName)
            result_.append("*[starts-with(name(),'").append(name.substr(0, name.size() - 1)).append("')]");
        else
            result_.append("*[name()='").append(name).append("']");
        at_ += length;
        operandBefore_ = true;
    }

    char peek(std::size_t ahead) const { return at_ + ahead < text_.size() ? text_[at_ + ahead] : '\0'; }
    void reject() { valid_ = false; }
    void copy(std::size_t count) {
        result_ += text_.substr(at_, count);
        at_ += count;
    }

    std::string_view text_;
    std::size_t at_ = 0;
    bool operandBefore_ = false;
    bool valid_ = true;
    std::string result_;
};

}  // namespace

SimplePath parseSimplePath(std::string_view path) {
    SimplePath result;
    result.fromDocument = path.starts_with('/');
    if (result.fromDocument) path.remove_prefix(1);
    for (;;) {
        const std::size_t slash = path.find('/');
        const std::string_view step = path.substr(0, slash);
        if (!isSimpleName(step)) return {};
        result.steps.push_back(step);
        if (slash == std::string_view::npos) return result;
        path.remove_prefix(slash + 1);
    }
}

std::string matchNamesAsWritten(std::string_view expression) {
    return NameRewriter(expression).rewrite();
}

}  // namespace symbology_platform::dom
