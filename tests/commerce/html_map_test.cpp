#include "quillmere/commerce/html_map.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quillmere::commerce {
namespace {

TEST(HtmlMap, KeepsFirstOccurrenceOrderAndFirstText) {
  HtmlMap pages;
  EXPECT_TRUE(pages.insert("b", "1"));
  EXPECT_TRUE(pages.insert("a", std::nullopt));
  EXPECT_FALSE(pages.insert("b", "2"));
  EXPECT_TRUE(pages.insert("a/", ""));
  std::vector<std::string> urls;
  for (const auto& [url, html] : pages) urls.push_back(url);
  EXPECT_EQ(urls, (std::vector<std::string>{"b", "a", "a/"}));
  EXPECT_EQ(*pages.find("b"), "1");
}

TEST(HtmlMap, TellsAbsentTextFromAbsentEntry) {
  HtmlMap pages;
  pages.insert("a", std::nullopt);
  ASSERT_NE(pages.find("a"), nullptr);
  EXPECT_FALSE(pages.find("a")->has_value());
  EXPECT_EQ(pages.find("b"), nullptr);
}

TEST(HtmlMap, CopiesAndMovesStandAlone) {
  HtmlMap pages;
  for (int i = 0; i < 1000; ++i) pages.insert(std::to_string(i), std::to_string(-i));
  HtmlMap copy = pages;
  const HtmlMap moved = std::move(pages);
  copy.insert("new", "");
  EXPECT_EQ(*moved.find("999"), "-999");
  EXPECT_EQ(moved.find("new"), nullptr);
  EXPECT_EQ(copy.size(), 1001U);
}

}  // namespace
}  // namespace quillmere::commerce
