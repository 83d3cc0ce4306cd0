// cxml check.
#include "tool_test.h"

namespace {

using nlohmann::json;

class Check : public ToolTest {};

TEST_F(Check, CleanDocument) {
    const Outcome outcome = cxml({"check", data("buoys.cxml")});
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(cxmlJson({"check", data("buoys.cxml")}, 0), json::parse(R"({
        "document": {"loaded": true, "error": null, "messages": []}, "findings": []})"));
}

TEST_F(Check, UnreadElementsAndAttributesWithTheirLines) {
    const std::string file = data("unread.cxml");
    const Outcome outcome = cxml({"check", file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out,
              file + ":1: nothing reads the attribute 'version' (/conditionMap/@version)\n" + file +
                  ":2: nothing reads the attribute 'note' (/conditionMap/functionLibrary[1]/@note)\n" + file +
                  ":5: nothing reads the element 'fetureClass' (/conditionMap/fetureClass[1])\n" + file +
                  ":8: nothing reads the attribute 'alias' (/conditionMap/featureClass[1]/@alias)\n" + file +
                  ":9: nothing reads the attribute 'rulname' "
                  "(/conditionMap/featureClass[1]/condition[1]/@rulname)\n" +
                  file +
                  ":13: nothing reads the attribute 'value' "
                  "(/conditionMap/featureClass[1]/condition[2]/rule[1]/@value)\n" +
                  file +
                  ":14: nothing reads the element 'Rule' (/conditionMap/featureClass[1]/condition[2]/Rule[1])\n");
}

TEST_F(Check, JsonNamesFileLineKindAndText) {
    const json said = cxmlJson({"check", data("unread.cxml")}, 1);
    ASSERT_EQ(said["findings"].size(), 7U) << said;
    EXPECT_EQ(said["findings"][2],
              (json{{"file", data("unread.cxml")},
                    {"line", 5},
                    {"kind", "unread-element"},
                    {"text", "nothing reads the element 'fetureClass' (/conditionMap/fetureClass[1])"}}));
    EXPECT_EQ(said["findings"][0]["kind"], "unread-attribute");
}

TEST_F(Check, WhatLoadingSaysIsAFinding) {
    const Outcome outcome = cxml({"check", data("unknown_operator.cxml")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("Discarding condition 'X' due to rule parse failure."), std::string::npos);
    const json said = cxmlJson({"check", data("unknown_operator.cxml")}, 1);
    EXPECT_EQ(said["document"]["messages"].size(), 2U) << said;
}

TEST_F(Check, DocumentThatDoesNotLoadHasNoOtherFindings) {
    const json said = cxmlJson({"check", data("no_name.cxml")}, 1);
    EXPECT_EQ(said["document"]["loaded"], false);
    EXPECT_EQ(said["findings"], json::array());
}

}  // namespace
