#include "schema.h"

#include "language.h"
#include "language_help.h"

#include <fmt/format.h>
#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

namespace cxml {
namespace {

std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (c == '&')
            result += "&amp;";
        else if (c == '<')
            result += "&lt;";
        else if (c == '"')
            result += "&quot;";
        else
            result += c;
    }
    return result;
}

std::string annotation(std::string_view text) {
    return fmt::format("<xs:annotation><xs:documentation>{}</xs:documentation></xs:annotation>", escaped(text));
}

// "[eE][qQ]": a keyword in any case.
std::string inAnyCase(std::string_view keyword) {
    std::string pattern;
    for (const char c : keyword) pattern += fmt::format("[{}{}]", c, static_cast<char>(c - 'a' + 'A'));
    return pattern;
}

// Elements of one name differ by their parents.
std::string typeOf(const LanguageElement& element) {
    const bool isAlone = std::ranges::count(languageElements(), element.name, &LanguageElement::name) == 1;
    return isAlone ? element.name : element.parents.front() + '.' + element.name;
}

const LanguageElement* childOf(const LanguageElement& parent, std::string_view name) {
    for (const LanguageElement& element : languageElements())
        if (element.name == name && std::ranges::find(element.parents, parent.name) != element.parents.end())
            return &element;
    return nullptr;
}

class Schema {
public:
    std::string write() {
        text_ =
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<!-- Written by 'cxml schema'. What needs the data, or one attribute for another, 'cxml check' finds. "
            "-->\n"
            "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\">\n";
        for (const LanguageElement& element : languageElements())
            if (element.parents.front().empty()) child("  ", element);
        for (const LanguageElement& element : languageElements()) type(element);
        simpleTypes();
        text_ += "</xs:schema>\n";
        return std::move(text_);
    }

private:
    void line(std::string_view margin, std::string_view content) {
        text_ += margin;
        text_ += content;
        text_ += '\n';
    }

    void child(std::string_view margin, const LanguageElement& element) {
        line(margin, fmt::format(R"(<xs:element name="{}" type="{}">{}</xs:element>)", element.name, typeOf(element),
                                 annotation(helpOfElement(element.parents.front(), element.name))));
    }

    void attributes(std::string_view margin, const LanguageElement& element) {
        for (const std::string& name : element.attributes) {
            const AttributeHelp help = helpOfAttribute(element.parents.front(), element.name, name);
            line(margin, fmt::format(R"(<xs:attribute name="{}" type="{}"{}>{}</xs:attribute>)", name,
                                     valueOf(element.name, name), help.isNeeded ? R"( use="required")" : "",
                                     annotation(help.says)));
        }
        line(margin, R"(<xs:anyAttribute namespace="http://www.w3.org/XML/1998/namespace" processContents="skip"/>)");
    }

    // Text between elements is passed over, and elements come in any order: so the reader has it.
    void type(const LanguageElement& element) {
        line("", "");
        if (element.hasText) {
            line("  ", fmt::format(R"(<xs:complexType name="{}">)", typeOf(element)));
            line("    ", "<xs:simpleContent>");
            line("      ", R"(<xs:extension base="xs:string">)");
            attributes("        ", element);
            line("      ", "</xs:extension>");
            line("    ", "</xs:simpleContent>");
        } else {
            line("  ", fmt::format(R"(<xs:complexType name="{}" mixed="true">)", typeOf(element)));
            if (!element.children.empty()) {
                line("    ", R"(<xs:choice minOccurs="0" maxOccurs="unbounded">)");
                for (const std::string& name : element.children)
                    if (const LanguageElement* known = childOf(element, name)) child("      ", *known);
                line("    ", "</xs:choice>");
            }
            attributes("    ", element);
        }
        line("  ", "</xs:complexType>");
    }

    static std::string_view valueOf(std::string_view element, std::string_view attribute) {
        if (element == "rule" && attribute == "type") return "ruleType";
        if (element == "rule" && attribute == "operator") return "ruleOperator";
        if (element == "rule" && attribute == "selectOption") return "ruleSelectOption";
        if (element == "condition" && attribute == "type") return "conditionType";
        if (attribute == "xoffset" || attribute == "yoffset" || attribute == "angle") return "placement";
        return "xs:string";
    }

    void choice(std::string_view value, std::string_view says) {
        line("      ", fmt::format(R"(<xs:enumeration value="{}">{}</xs:enumeration>)", value, annotation(says)));
    }

    // A type with words to choose from, and what else is taken.
    template <class Choices>
    void words(std::string_view name, std::string_view others, const Choices& choices) {
        line("", "");
        line("  ", fmt::format(R"(<xs:simpleType name="{}Word">)", name));
        line("    ", R"(<xs:restriction base="xs:string">)");
        choices();
        line("    ", "</xs:restriction>");
        line("  ", "</xs:simpleType>");
        line("  ", fmt::format(R"(<xs:simpleType name="{}">)", name));
        line("    ", fmt::format(R"(<xs:union memberTypes="{}Word {}"/>)", name, others));
        line("  ", "</xs:simpleType>");
    }

    void patterns(std::string_view name, const std::vector<std::string>& allowed) {
        line("", "");
        line("  ", fmt::format(R"(<xs:simpleType name="{}">)", name));
        line("    ", R"(<xs:restriction base="xs:string">)");
        for (const std::string& pattern : allowed)
            line("      ", fmt::format(R"(<xs:pattern value="{}"/>)", escaped(pattern)));
        line("    ", "</xs:restriction>");
        line("  ", "</xs:simpleType>");
    }

    void simpleTypes() {
        static constexpr const char* types[] = {"A", "L", "Q"};
        line("", "");
        line("  ", R"(<xs:simpleType name="ruleType">)");
        line("    ", R"(<xs:restriction base="xs:string">)");
        for (const char* type : types) choice(type, fmt::format("A rule of the family: {}.", familyOf(type)));
        line("    ", "</xs:restriction>");
        line("  ", "</xs:simpleType>");
        // One type of values has the operators of all families: which of them fits is beyond a schema.
        std::vector<std::pair<std::string, std::string>> operators;
        std::vector<std::string> allowed;
        for (const char* type : types)
            for (const std::string& keyword : operatorsOf(type)) {
                auto found = std::ranges::find(operators, keyword, [](const auto& known) { return known.first; });
                if (found == operators.end()) found = operators.insert(found, {keyword, {}});
                found->second +=
                    fmt::format("{}{}: {}", found->second.empty() ? "" : " ", type, helpOfOperator(type, keyword));
                if (std::string_view(type) != "Q") allowed.push_back(inAnyCase(keyword));
            }
        std::ranges::sort(allowed);
        allowed.erase(std::ranges::unique(allowed).begin(), allowed.end());
        words("ruleOperator", "operatorInAnyCase", [&] {
            for (const auto& [keyword, says] : operators) choice(keyword, says);
        });
        patterns("operatorInAnyCase", allowed);
        words("ruleSelectOption", "xs:string", [&] { choice("multiple", "Values of all rows are fetched."); });
        words("conditionType", "xs:string", [&] {
            choice("1", "The condition names a symbol, places it, or both.");
            choice("2", "The condition computes a text, too.");
        });
        // Whatever may be a number: no comma, and no unit behind it.
        patterns("placement", {R"([\s\d+\-.()$eEdD]+)", R"(\s*&[hHoO]?[\da-fA-F]+\s*)"});
    }

    std::string text_;
};

}  // namespace

std::string languageSchema() {
    return Schema().write();
}

}  // namespace cxml
