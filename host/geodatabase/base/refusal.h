// Why a dataset does not take a question.
#pragma once

#include <string>

namespace embedded_host {

struct Refusal {
    std::string words;        // the dataset's own
    bool isOfValues = false;  // that stand in the question: with others it may be taken
};

}  // namespace embedded_host
