#include "quillmere/commerce/export.hpp"

#include <limits>

#include "tests/support/row_name.hpp"
#include "tests/support/temporary_directory.hpp"
#include <gtest/gtest.h>

namespace quillmere::commerce {
namespace {

constexpr const char* HEADER =
    "Match Score,Relevance,Page Type,Brand,SKU,Condition,Title,Price Amount,Currency,Stock Status,Merchant Name,"
    "Merchant Category,Direct URL,Original URL,Primary Image URL\r\n";

struct RowCase {
  const char* name;
  void (*fill)(EnrichedCommerceMatch&);
  const char* row;
};

class CsvRow : public testing::TestWithParam<RowCase> {};

TEST_P(CsvRow, IsExactToTheByte) {
  CommerceIntelligence commerce;
  GetParam().fill(commerce.items.emplace_back());
  EXPECT_EQ(commerce_to_csv(commerce), std::string(HEADER) + GetParam().row);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CsvRow,
    testing::ValuesIn<RowCase>({
        // Values.
        {"nothing", [](auto&) {}, "0%,,uncategorized,,,,,,,,,,,,\r\n"},
        {"everything",
         [](auto& match) {
           match.title = "Lamp";
           match.direct_url = "d";
           match.original_url = "o";
           match.price = NormalizedPrice{"$20", 20, "USD"};
           match.merchant_name = "Shop";
           match.merchant_category = MerchantCategory::UNVERIFIED;
           match.thumbnail = "not written";
           match.match_score = 87;
           match.page_type = PageType::PRODUCT;
           match.brand = "B";
           match.sku = "S";
           match.condition = ItemCondition::USED;
           match.stock_status = StockStatus::OUT_OF_STOCK;
           match.primary_image_url = "i";
           match.shipping_info = "not written";
           match.relevance = RelevanceGrade::HIGH;
         },
         "87%,high,product,B,S,used,Lamp,20.0,USD,out_of_stock,Shop,unverified,d,o,i\r\n"},
        {"empty_texts",
         [](auto& match) {
           match.brand = match.sku = match.merchant_name = match.primary_image_url = "";
           match.price = NormalizedPrice{"", 1e-05, ""};
         },
         "0%,,uncategorized,,,,,1e-05,,,,,,,\r\n"},
        {"negative_numbers",
         [](auto& match) {
           match.match_score = -5;
           match.price = NormalizedPrice{"", -19.99, "EUR"};
         },
         "-5%,,uncategorized,,,,,-19.99,EUR,,,,,,\r\n"},
        {"amount_that_is_not_finite",
         [](auto& match) {
           match.price = NormalizedPrice{"", std::numeric_limits<double>::infinity(), "EUR"};
         },
         "0%,,uncategorized,,,,,,EUR,,,,,,\r\n"},
        // Quoting.
        {"comma", [](auto& match) { match.title = "a,b"; }, "0%,,uncategorized,,,,\"a,b\",,,,,,,,\r\n"},
        {"quotes", [](auto& match) { match.title = "\"a\" b"; }, "0%,,uncategorized,,,,\"\"\"a\"\" b\",,,,,,,,\r\n"},
        {"line_feed", [](auto& match) { match.title = "a\nb"; }, "0%,,uncategorized,,,,\"a\nb\",,,,,,,,\r\n"},
        {"carriage_return", [](auto& match) { match.sku = "\r"; }, "0%,,uncategorized,,\"\r\",,,,,,,,,,\r\n"},
        {"spaces_stay_bare", [](auto& match) { match.title = " a b\t"; }, "0%,,uncategorized,,,, a b\t,,,,,,,,\r\n"},
        {"others_stay_bare", [](auto& match) { match.title = "=1+1;'\u2028é"; },
         "0%,,uncategorized,,,,=1+1;'\u2028é,,,,,,,,\r\n"},
        {"invalid_utf8", [](auto& match) { match.title = "a\xFF,"; }, "0%,,uncategorized,,,,\"a\uFFFD,\",,,,,,,,\r\n"},
    }),
    row_name);

class Export : public testing::Test {
 protected:
  TemporaryDirectory directory;
};

TEST_F(Export, WritesTheTexts) {
  CommerceIntelligence commerce;
  commerce.items.resize(2);
  commerce.items[0].title = "Lämp\r\n";

  const auto csv = export_commerce_to_csv(commerce, directory.path() / "a/b/out.csv");
  EXPECT_EQ(csv, directory.path() / "a/b/out.csv");
  EXPECT_EQ(content(csv), commerce_to_csv(commerce));

  const auto json = export_commerce_to_json(commerce, (directory.path() / "a/../out.json").string());
  EXPECT_EQ(json, directory.path() / "out.json");
  EXPECT_EQ(content(json), commerce.model_dump_json(2, true));
  EXPECT_EQ(content(json).find("null"), std::string::npos);

  EXPECT_EQ(content(export_commerce_to_csv({}, csv)), HEADER) << "no items, over an earlier file";
  EXPECT_EQ(content(export_commerce_to_json({}, json)).back(), '}');
}

TEST_F(Export, FailureReachesTheCaller) {
  const auto file = export_commerce_to_json({}, directory.path() / "file");
  EXPECT_THROW(export_commerce_to_csv({}, file / "out.csv"), std::filesystem::filesystem_error);
  EXPECT_THROW(export_commerce_to_json({}, "/dev/full"), std::system_error);
}

}  // namespace
}  // namespace quillmere::commerce
