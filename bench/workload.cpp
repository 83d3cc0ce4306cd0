#include "workload.h"

#include <random>

namespace {

constexpr int objectClasses[] = {5, 7, 14, 17, 18, 19, 39, 58, 74, 75, 86, 112, 129, 153, 159};
constexpr const char* names[] = {"North Rock", "South Rock", "Outer Bank", "Inner Bank", "Gull Ledge", "Seal Point"};
constexpr const char* patterns[] = {"North*", "*Rock", "*Bank", "Gull*Ledge", "*Po*", "Inner*"};

/// What condition `k` asks for; the document and the answers are both made from it.
struct Wanted {
    int objectClass;
    double least;
    double greatest;
    int category;
    const char* pattern;
};

Wanted wanted(int k) {
    const auto at = static_cast<std::size_t>(k);
    const double least = k % 7 * 5;
    return {objectClasses[at % std::size(objectClasses)], least, least + 20, k % 4 + 1,
            patterns[at % std::size(patterns)]};
}

/// Odd conditions look at the category, even ones at the name.
bool asksForCategory(int k) {
    return k % 2 == 1;
}

/// What the patterns above mean, one by one.
bool matches(const std::string& name, const std::string& pattern) {
    if (pattern == "Gull*Ledge") return name.starts_with("Gull") && name.ends_with("Ledge");
    if (pattern == "*Po*") return name.find("Po") != std::string::npos;
    if (pattern.starts_with('*')) return name.ends_with(pattern.substr(1));
    return name.starts_with(pattern.substr(0, pattern.size() - 1));
}

std::string symbolOf(int k) {
    return "NAVSYM" + std::to_string(k);
}

double angleOf(int k) {
    return k % 3 == 0 ? 15.0 * (k % 24) : 0;
}

void answer(Feature& feature, int conditions) {
    feature.symbol.clear();
    feature.angle = 0;
    for (int k = 0; k < conditions; ++k) {
        const Wanted w = wanted(k);
        const bool last = asksForCategory(k) ? feature.category == w.category
                                             : !feature.name.empty() && matches(feature.name, w.pattern);
        if (feature.objectClass != w.objectClass || feature.depth < w.least || feature.depth > w.greatest || !last)
            continue;
        feature.symbol = symbolOf(k);
        feature.angle = angleOf(k);
    }
}

}  // namespace

std::string ruleDocument(int conditions) {
    // Single quotes, so that nothing needs a backslash.
    std::string text = "<conditionMap name='bench'><featureClass name='NAVPNT'>\n";
    for (int k = 0; k < conditions; ++k) {
        const Wanted w = wanted(k);
        text += "<condition rulename='" + symbolOf(k) + "' angle='" + std::to_string(angleOf(k)) + "'>";
        text += "<rule type='A' operator='equal' field='OBJL' value='" + std::to_string(w.objectClass) + "'/>";
        text += "<rule type='A' operator='between' field='VALSOU'><value>" + std::to_string(w.least) +
                "</value><value>" + std::to_string(w.greatest) + "</value></rule>";
        if (asksForCategory(k))
            text += "<rule type='A' operator='equal' field='CATLAM' value='" + std::to_string(w.category) + "'/>";
        else
            text += std::string("<rule type='A' operator='like' field='OBJNAM' value='") + w.pattern + "'/>";
        text += "</condition>\n";
    }
    return text + "</featureClass></conditionMap>\n";
}

std::vector<Feature> makeFeatures(std::size_t count, int conditions) {
    std::mt19937 random(20260914);
    const auto draw = [&](std::size_t below) { return static_cast<unsigned>(random() % below); };
    std::vector<Feature> features(count);
    for (Feature& feature : features) {
        feature.objectClass = objectClasses[draw(std::size(objectClasses))];
        feature.category = static_cast<int>(draw(5));
        feature.depth = draw(4) == 0 ? -1 : draw(600) / 10.0;
        if (draw(3) != 0) feature.name = names[draw(std::size(names))];
        answer(feature, conditions);
    }
    return features;
}

CComPtr<memhost::TableObject> makeTable(const std::vector<Feature>& features, bool symbolized) {
    memhost::Table table("NAVPNT");
    table.symbologyFields().field("OBJL", VT_I4).field("CATLAM", VT_I4).field("VALSOU", VT_R8).field("OBJNAM", VT_BSTR);
    table.forgetsUpdates();
    const auto textOrNull = [](const std::string& text) {
        return text.empty() ? memhost::Cell(nullptr) : memhost::Cell(text);
    };
    for (const Feature& feature : features) {
        const bool written = symbolized && !feature.symbol.empty();
        table.row(
            {written ? memhost::Cell(feature.symbol) : memhost::Cell(nullptr), nullptr, nullptr,
             written && feature.angle != 0 ? memhost::Cell(feature.angle) : memhost::Cell(nullptr), feature.objectClass,
             feature.category == 0 ? memhost::Cell(nullptr) : memhost::Cell(feature.category),
             feature.depth < 0 ? memhost::Cell(nullptr) : memhost::Cell(feature.depth), textOrNull(feature.name)});
    }
    return table.build();
}
