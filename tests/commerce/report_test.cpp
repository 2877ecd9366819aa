#include "quillmere/commerce/report.hpp"

#include "tests/support/fetching.hpp"
#include "tests/support/loopback_server.hpp"
#include "tests/support/row_name.hpp"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quillmere/commerce/report/cards.hpp"
#include "quillmere/commerce/report/encoding.hpp"
#include "quillmere/commerce/report/figures.hpp"
#include "quillmere/commerce/report/markup.hpp"

namespace quillmere::commerce::report {
namespace {

using namespace std::string_literals;
using ::testing::ElementsAre;

struct TextRow {
  const char* name;
  std::string text;
  std::string expected;
};

class Escaped : public ::testing::TestWithParam<TextRow> {};

TEST_P(Escaped, IsTextOnly) {
  EXPECT_EQ(escaped(GetParam().text, 8), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, Escaped,
                         ::testing::ValuesIn<TextRow>({
                             {"markup", "<a b='\">", "&lt;a b=&#39;&quot;&gt;"},
                             {"references", "&lt;", "&amp;lt;"},
                             {"spaces", "a\tb\r\nc\f", "a b  c "},
                             {"controls", "a\0\x1B\x7F\xC2\x85"s, "a����"},
                             {"noncharacters", "\uFDD0\uFFFF\U0001FFFE\U0001F600\uFFFD", "���\U0001F600�"},
                             {"not_utf8", "a\xFF\xE2\x82", "a��"},
                             {"at_the_limit", "äöüäöüäö", "äöüäöüäö"},
                             {"beyond_the_limit", "äöüäöüäö<", "äöüäöüäö…"},
                         }),
                         row_name);

class WebLink : public ::testing::TestWithParam<TextRow> {};

TEST_P(WebLink, LeadsToWebPagesOnly) {
  EXPECT_EQ(web_link(GetParam().text).value_or("(none)"), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, WebLink,
                         ::testing::ValuesIn<TextRow>({
                             {"https", "https://shop.example/a?b=c&d#e", "https://shop.example/a?b=c&amp;d#e"},
                             {"upper_case", "HTTP://shop.example/", "http://shop.example/"},
                             {"what_breaks_out", "https://shop.example/\"><'", "https://shop.example/%22%3E%3C&#39;"},
                             {"spaces", "https://shop.example/a b", "https://shop.example/a%20b"},
                             {"letters", "https://shop.example/ä", "https://shop.example/ä"},
                             {"script", "javascript:alert(1)", "(none)"},
                             {"split_script", " java\nscript:alert(1)", "(none)"},
                             {"document", "data:text/html,x", "(none)"},
                             {"relative", "/a", "(none)"},
                             {"without_scheme", "//shop.example/", "(none)"},
                             {"without_host", "http:///a", "(none)"},
                             {"credentials", "https://shop.example@attacker.example/", "(none)"},
                             {"malformed", "https://[broken", "(none)"},
                             {"endless", "https://shop.example/" + std::string(9000, 'x'), "(none)"},
                         }),
                         row_name);

TEST(Money, HasItsThousandsSetApart) {
  EXPECT_EQ(money(0), "0.00");
  EXPECT_EQ(money(-999.5), "-999.50");
  EXPECT_EQ(money(1234567.891), "1,234,567.89");
  EXPECT_EQ(money(-1000), "-1,000.00");
  EXPECT_EQ(money(1e300), "1e+300");
}

struct FigureRow {
  const char* name;
  std::vector<double> sorted;
  std::vector<double> expected;  ///< lowest, quartiles, highest
};

class Figures : public ::testing::TestWithParam<FigureRow> {};

TEST_P(Figures, LieBetweenTheNearestPrices) {
  const PriceFigures f = figures_of(GetParam().sorted);
  EXPECT_EQ((std::vector{f.lowest, f.lower_quartile, f.median, f.upper_quartile, f.highest}), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, Figures,
                         ::testing::ValuesIn<FigureRow>({
                             {"one", {7}, {7, 7, 7, 7, 7}},
                             {"two", {1, 2}, {1, 1.25, 1.5, 1.75, 2}},
                             {"five", {1, 2, 3, 4, 100}, {1, 2, 3, 4, 100}},
                             {"farthest_apart", {-1e308, 1e308}, {-1e308, -5e307, 0, 5e307, 1e308}},
                         }),
                         row_name);

struct AxisRow {
  const char* name;
  double lowest;
  double highest;
  bool is_logarithmic;
  std::vector<double> marks;
  double middle;  ///< lies at half of the axis
};

class Axis : public ::testing::TestWithParam<AxisRow> {};

TEST_P(Axis, HasRoundMarks) {
  const AxisRow& row = GetParam();
  const PriceAxis axis(row.lowest, row.highest);
  EXPECT_EQ(axis.is_logarithmic(), row.is_logarithmic);
  EXPECT_THAT(axis.marks(), ::testing::Pointwise(::testing::DoubleEq(), row.marks));
  EXPECT_DOUBLE_EQ(axis.place(row.middle), 0.5);
  if (row.lowest < row.highest) {
    EXPECT_EQ(axis.place(row.lowest), 0);
    EXPECT_EQ(axis.place(row.highest), 1);
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, Axis,
                         ::testing::ValuesIn<AxisRow>({
                             {"one_price", 12.5, 12.5, false, {12.5}, 12.5},
                             {"linear", 25, 325, false, {50, 100, 150, 200, 250, 300}, 175},
                             {"cheap", 0.1, 0.4, false, {0.1, 0.15, 0.2, 0.25, 0.3, 0.35, 0.4}, 0.25},
                             {"just_logarithmic", 10, 200, true, {10, 20, 50, 100, 200}, std::sqrt(2000)},
                             {"far_apart", 1, 1e6, true, {1, 10, 100, 1e3, 1e4, 1e5, 1e6}, 1e3},
                             {"free", 0, 1000, false, {0, 200, 400, 600, 800, 1000}, 500},
                             {"beyond_measure", -1.5e308, 1.5e308, false, {-1.5e308, 1.5e308}, 0},
                         }),
                         row_name);

EnrichedCommerceMatch priced(double amount, const char* currency, std::optional<MerchantCategory> category) {
  EnrichedCommerceMatch match;
  match.price = NormalizedPrice{"", amount, currency};
  match.merchant_category = category;
  return match;
}

TEST(PricesByCurrency, NeverMixes) {
  const double infinite = std::numeric_limits<double>::infinity();
  const auto found = prices_by_currency(std::vector{
      priced(3, "EUR", MerchantCategory::UNVERIFIED), priced(9, "USD", std::nullopt),
      priced(1, "EUR", MerchantCategory::UNVERIFIED), priced(2, "EUR", MerchantCategory::OFFICIAL_BRAND),
      priced(8, "USD", MerchantCategory::UNVERIFIED), priced(infinite, "USD", std::nullopt), EnrichedCommerceMatch{}});
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].currency, "EUR");
  EXPECT_THAT(found[0].amounts, ElementsAre(1, 2, 3));
  ASSERT_EQ(found[0].categories.size(), 2U);
  EXPECT_EQ(found[0].categories[0].category, MerchantCategory::OFFICIAL_BRAND);
  EXPECT_THAT(found[0].categories[1].amounts, ElementsAre(1, 3));
  EXPECT_THAT(found[1].amounts, ElementsAre(8, 9));
  EXPECT_EQ(found[1].categories[1].category, std::nullopt);
}

struct FactRow {
  const char* name;
  void (*fill)(EnrichedCommerceMatch&);
  bool expected;
};

class PageFacts : public ::testing::TestWithParam<FactRow> {};

TEST_P(PageFacts, AreThoseThatNoSearchResultHolds) {
  EnrichedCommerceMatch match;
  match.merchant_name = "Shop";
  match.thumbnail = match.primary_image_url = "t";
  GetParam().fill(match);
  EXPECT_EQ(has_page_facts(match), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, PageFacts,
                         ::testing::ValuesIn<FactRow>({
                             {"nothing", [](auto&) {}, false},
                             {"brand_of_the_seller", [](auto& m) { m.brand = "Shop"; }, false},
                             {"brand", [](auto& m) { m.brand = "Make"; }, true},
                             {"code", [](auto& m) { m.sku = "1"; }, true},
                             {"image", [](auto& m) { m.primary_image_url = "i"; }, true},
                             {"used", [](auto& m) { m.condition = ItemCondition::USED; }, false},
                             {"new_goods", [](auto& m) { m.condition = ItemCondition::NEW; }, true},
                             {"sold_out", [](auto& m) { m.stock_status = StockStatus::OUT_OF_STOCK; }, false},
                             {"preorder", [](auto& m) { m.stock_status = StockStatus::PREORDER; }, true},
                         }),
                         row_name);

TEST(Policy, AllowsStyleAndScriptByTheirHashes) {
  EXPECT_EQ(policy_hash(""), "'sha256-47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU='");
  const std::string page = commerce_to_html({});
  for (const std::string name : {"style", "script"}) {
    const std::size_t begin = page.find("<" + name + ">") + name.size() + 2;
    const std::string body = page.substr(begin, page.find("</" + name + ">") - begin);
    EXPECT_NE(page.find(name + "-src " + policy_hash(body)), std::string::npos);
  }
  EXPECT_EQ(page.find("img-src"), std::string::npos);
  EXPECT_EQ(page.find("{{"), std::string::npos);
}

const std::string PNG = "\x89PNG\r\n\x1A\n and so on";

TEST(RasterType, IsJudgedByTheFirstBytes) {
  EXPECT_EQ(raster_type(PNG), "image/png");
  EXPECT_EQ(raster_type("\xFF\xD8\xFF\xE0"), "image/jpeg");
  EXPECT_EQ(raster_type("GIF89a"), "image/gif");
  EXPECT_EQ(raster_type("RIFF\x10\0\0\0WEBPVP8 "s), "image/webp");
  EXPECT_EQ(raster_type("\0\0\0\x1C"
                        "ftypavif"s),
            "image/avif");
  for (const char* other : {"", "<svg xmlns='http://www.w3.org/2000/svg'/>", "<html>", "RIFF1234WAVE", "PNG"}) {
    EXPECT_EQ(raster_type(other), std::nullopt) << other;
  }
}

EnrichedCommerceMatch pictured(std::string thumbnail) {
  EnrichedCommerceMatch match;
  match.thumbnail = std::move(thumbnail);
  return match;
}

TEST(Thumbnails, AreFetchedUnderTheGuardAndEmbedded) {
  testing::LoopbackServer server;
  server.on("/good", testing::answer(200, PNG));
  server.on("/drawing", testing::answer(200, "<svg onload='alert(1)'/>", {{"Content-Type", "image/png"}}));
  server.on("/large", testing::answer(200, PNG + std::string(MAX_THUMBNAIL_BYTES, 'x')));
  CommerceIntelligence result;
  for (const char* path : {"/good", "/drawing", "/large", "/missing", "/good"}) {
    result.items.push_back(pictured(server.url(path)));
  }
  result.items.push_back(pictured("file:///etc/passwd"));
  const auto fetch = [&](http::FetchOptions options) {
    return testing::run(fetch_thumbnails(result.items, 2, 2, std::move(options)));
  };
  EXPECT_TRUE(fetch({}).empty());
  EXPECT_TRUE(server.paths().empty());
  const commerce::Thumbnails found = fetch(testing::on_loopback());
  EXPECT_THAT(found, ElementsAre(std::pair(server.url("/good"), PNG)));

  const std::string page = commerce_to_html(result, {.subject = {}, .thumbnails = found});
  EXPECT_NE(page.find("; img-src data:;"), std::string::npos);
  EXPECT_NE(page.find("src=\"data:image/png;base64," + base64(PNG) + "\""), std::string::npos);
  EXPECT_EQ(page.find("alert(1)"), std::string::npos);
}

}  // namespace
}  // namespace quillmere::commerce::report
