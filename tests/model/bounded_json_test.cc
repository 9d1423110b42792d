#include "model/bounded_json.h"

#include <gtest/gtest.h>

namespace quorvane {
namespace {

TEST(BoundedJsonTest, NestingIsCountedOutsideStringsOnly) {
  EXPECT_EQ(jsonNestingDepth(R"({"a": [1, {"b": []}]})"), 4u);
  EXPECT_EQ(jsonNestingDepth(R"({"a": "[[[[{{{", "b": "\"[[["})"), 1u);
  EXPECT_EQ(jsonNestingDepth("[]]]]][[]"), 2u) << "unbalanced text is the parser's to refuse";
  EXPECT_EQ(jsonNestingDepth(std::string(1'000'000, '['), 64), 65u) << "stops past the limit";
}

TEST(BoundedJsonTest, OnlyJsonWithinTheLimitIsParsed) {
  EXPECT_EQ(parseBoundedJson(R"({"a": [1, 2]})"), (nlohmann::json{{"a", {1, 2}}}));
  const std::string deepest = std::string(64, '[') + std::string(64, ']');
  EXPECT_TRUE(parseBoundedJson(deepest));
  EXPECT_FALSE(parseBoundedJson("[" + deepest + "]"));
  EXPECT_FALSE(parseBoundedJson("{\"a\": "));
  EXPECT_FALSE(parseBoundedJson(""));
}

}  // namespace
}  // namespace quorvane
