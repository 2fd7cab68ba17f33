#include "platform/workflow/workflow_document.h"

#include <gtest/gtest.h>

namespace kelvo {
namespace {

std::string refusal(std::string_view text) {
  const auto document = parseWorkflow(text);
  return document ? "accepted" : document.error().message;
}

TEST(WorkflowDocument, HoldsTheActionsInTheirOrder) {
  const auto document = parseWorkflow(R"({"format": 1, "actions": [
      {"action": "Kelvo Images", "parameters": {"filterPopUp": "16", "posterizeSlider": 4}},
      {"action": "Other"}]})");
  ASSERT_TRUE(document) << document.error().message;
  ASSERT_EQ(document->actions.size(), 2U);
  EXPECT_EQ(document->actions[0].action, "Kelvo Images");
  EXPECT_EQ(document->actions[0].parameters.intValue("filterPopUp"), 16);
  EXPECT_EQ(document->actions[0].parameters.doubleValue("posterizeSlider"), 4.0);
  EXPECT_EQ(document->actions[1].action, "Other");
  EXPECT_TRUE(document->actions[1].parameters.all().empty());
}

TEST(WorkflowDocument, TellsThePlaceOfASyntaxError) {
  EXPECT_EQ(refusal("").substr(0, 18), "line 1, column 1: ");
  EXPECT_EQ(refusal("{\n  \"format\": 1,\n  oops\n}").substr(0, 18), "line 3, column 3: ");
  EXPECT_EQ(refusal("{} {}").substr(0, 18), "line 1, column 4: ");
}

TEST(WorkflowDocument, KeepsMessagesToOnePrintableLine) {
  for (const char c : refusal("{\"a\x01\n\xFF")) {
    EXPECT_TRUE(c >= ' ' && c <= '~');
  }
}

TEST(WorkflowDocument, RefusesOtherFormats) {
  EXPECT_EQ(refusal("{}"), "it has no \"format\", so it is no workflow document");
  EXPECT_EQ(refusal(R"({"format": 2, "actions": []})"),
            "its format is 2, and this version reads format 1 only");
  EXPECT_EQ(refusal(R"({"format": "1"})"), "\"format\" is a text, not 1");
  EXPECT_EQ(refusal(R"({"format": 1.5})"), "\"format\" is no whole number, not 1");
}

TEST(WorkflowDocument, RefusesWrongTypes) {
  EXPECT_EQ(refusal("[]"), "it is a list, not an object");
  EXPECT_EQ(refusal(R"({"format": 1})"), "it has no \"actions\"");
  EXPECT_EQ(refusal(R"({"format": 1, "actions": {}})"), "\"actions\" is an object, not a list");
  EXPECT_EQ(refusal(R"({"format": 1, "actions": []})"), "its list of actions is empty");
  EXPECT_EQ(refusal(R"({"format": 1, "actions": ["x"]})"), "action 1: it is a text, not an object");
  EXPECT_EQ(refusal(R"({"format": 1, "actions": [{}]})"), "action 1: it has no \"action\"");
  EXPECT_EQ(refusal(R"({"format": 1, "actions": [{"action": "A"}, {"action": 2}]})"),
            "action 2: \"action\" is a number, not a text");
  EXPECT_EQ(refusal(R"({"format": 1, "actions": [{"action": "A", "parameters": []}]})"),
            "action 1: the parameters are a list, not an object");
  EXPECT_EQ(refusal(R"({"format": 1, "actions": [{"action": "A", "parameters": {"k": true}}]})"),
            "action 1: the parameter \"k\" is true or false, not a text or a number");
  EXPECT_EQ(refusal(R"({"format": 1, "actions": [{"action": "A", "parameters": {"k": null}}]})"),
            "action 1: the parameter \"k\" is null, not a text or a number");
}

TEST(WorkflowDocument, RefusesKeysThatItDoesNotKnow) {
  EXPECT_EQ(refusal(R"({"format": 1, "actions": [{"action": "A"}], "x": 1})"),
            "the key \"x\" is not known");
  EXPECT_EQ(refusal(R"({"format": 1, "actions": [{"action": "A", "paramaters": {}}]})"),
            "action 1: the key \"paramaters\" is not known");
}

TEST(WorkflowDocument, RefusesAKeyThatOccursTwice) {
  EXPECT_EQ(refusal(R"({"format": 1, "actions": [{"action": "A",
                        "parameters": {"k": "1", "k": "2"}}]})"),
            "the key \"k\" occurs twice in one object");
}

TEST(WorkflowDocument, ReadsNumbersBeyondWholeOnes) {
  const auto document = parseWorkflow(
      R"({"format": 1, "actions": [{"action": "A", "parameters":
          {"a": 18446744073709551615, "b": -9223372036854775808, "c": 1e300}}]})");
  ASSERT_TRUE(document);
  const ParameterDictionary& parameters = document->actions[0].parameters;
  EXPECT_EQ(parameters.doubleValue("a"), 18446744073709551616.0);
  EXPECT_EQ(parameters.doubleValue("b"), -9223372036854775808.0);
  EXPECT_EQ(parameters.doubleValue("c"), 1e300);
  EXPECT_NE(refusal(R"({"format": 1, "actions": [{"action": "A", "parameters": {"a": 1e999}}]})"),
            "accepted");
}

TEST(WorkflowDocument, SurvivesDeepNesting) {
  EXPECT_NE(refusal(std::string(100'000, '[')), "accepted");
  EXPECT_EQ(refusal(std::string(100'000, '[') + std::string(100'000, ']')),
            "it is a list, not an object");
}

TEST(WorkflowDocument, IsReadBackAsItWasWritten) {
  WorkflowDocument document;
  document.actions.push_back({"Kelvo Images", {}});
  document.actions[0].parameters.setObject_forKey("2.0", "posterizeSlider");
  document.actions[0].parameters.setObject_forKey(0.1, "real");
  document.actions[0].parameters.setObject_forKey(std::int64_t{-7}, "whole");
  document.actions[0].parameters.setObject_forKey("\"quoted\"\n\xC3\xA4", "text");
  document.actions.push_back({"Second", {}});
  const auto back = parseWorkflow(formatWorkflow(document));
  ASSERT_TRUE(back) << back.error().message;
  EXPECT_EQ(*back, document);
}

TEST(WorkflowDocument, SaysWhyAFileCannotBeRead) {
  const auto missing = readWorkflow("/nowhere/x.kelvo");
  ASSERT_FALSE(missing);
  EXPECT_EQ(missing.error().message, "No such file or directory");
  const auto directory = readWorkflow("/");
  ASSERT_FALSE(directory);
  EXPECT_EQ(directory.error().message, "it is a directory");
}

}  // namespace
}  // namespace kelvo
