// The workload of the benchmarks: rule documents of a given size, rows to run them over, and the answers.
#pragma once

#include "memhost/table.h"

#include <cstdint>
#include <string>
#include <vector>

/// One feature, as a nautical point class has it.
struct Feature {
    int objectClass;     // OBJL
    int category;        // CATLAM; 0 stands for NULL
    double depth;        // VALSOU; below 0 stands for NULL
    std::string name;    // OBJNAM; empty stands for NULL
    std::string symbol;  // SYMBOL_C, the answer
    double angle = 0;    // Rotate_C, the answer
};

/// Writes the rules of `conditions` conditions, three attribute rules each.
std::string ruleDocument(int conditions);

/// `count` features drawn with a fixed seed, their answers found by plain comparisons, not by the engine.
std::vector<Feature> makeFeatures(std::size_t count, int conditions);

/// The features as rows of a table "NAVPNT".
/// \param symbolized whether the rows hold their answers already.
CComPtr<memhost::TableObject> makeTable(const std::vector<Feature>& features, bool symbolized);
