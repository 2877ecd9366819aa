#include "quillmere/models.hpp"

#include <gtest/gtest.h>

namespace quillmere {
namespace {

EnrichedCommerceMatch full_match() {
  EnrichedCommerceMatch match;
  match.title = "Lamp \"Ö\"\n";
  match.direct_url = "https://shop.example/p";
  match.original_url = "https://google.com/url?q=https://shop.example/p";
  match.price = NormalizedPrice{"20 €", 20, "EUR"};
  match.merchant_name = "Shop";
  match.merchant_category = MerchantCategory::OFFICIAL_BRAND;
  match.thumbnail = "t.jpg";
  match.match_score = 99;
  match.page_type = PageType::PRODUCT;
  match.brand = "";
  match.sku = "S-1";
  match.condition = ItemCondition::NEW;
  match.stock_status = StockStatus::IN_STOCK;
  match.primary_image_url = "p.jpg";
  match.relevance = RelevanceGrade::HIGH;
  return match;
}

TEST(Models, EmptyResultIsValid) {
  const CommerceIntelligence empty;
  EXPECT_EQ(empty.model_dump_json(2, true), R"({
  "summary": {
    "total_matches": 0,
    "currency": "USD",
    "total_priced_matches": 0
  },
  "items": []
})");
  EXPECT_EQ(empty.model_dump_json(), R"({"summary":{"total_matches":0,"currency":"USD","total_priced_matches":0,)"
                                     R"("min_price":null,"max_price":null,"average_price":null,"median_price":null},)"
                                     R"("items":[]})");
  EXPECT_EQ(empty.model_dump_json(-4), empty.model_dump_json());
}

TEST(Models, EveryFieldIsWrittenInRecordOrder) {
  EXPECT_EQ(model_dump_json(CommerceSummary{2, "EUR", 1, 20, 20.5, 20.25, 1e16}),
            R"({"total_matches":2,"currency":"EUR","total_priced_matches":1,"min_price":20.0,"max_price":20.5,)"
            R"("average_price":20.25,"median_price":1e+16})");
  EXPECT_EQ(
      model_dump_json(full_match(), std::nullopt, true),
      R"({"title":"Lamp \"Ö\"\n","direct_url":"https://shop.example/p",)"
      R"("original_url":"https://google.com/url?q=https://shop.example/p",)"
      R"("price":{"raw":"20 €","amount":20.0,"currency":"EUR"},"merchant_name":"Shop",)"
      R"("merchant_category":"official_brand","thumbnail":"t.jpg","match_score":99,"page_type":"product","brand":"",)"
      R"("sku":"S-1","condition":"new","stock_status":"in_stock","primary_image_url":"p.jpg","relevance":"high"})");
}

TEST(Models, LevelsAreIndented) {
  CommerceIntelligence commerce;
  commerce.items.resize(2);
  commerce.items[1].price = NormalizedPrice{"5", 5, "EUR"};
  const std::string json = commerce.model_dump_json(1, true);
  EXPECT_NE(json.find("\n \"items\": [\n  {\n   \"title\": \"\",\n"), std::string::npos) << json;
  EXPECT_NE(json.find("\n  },\n  {\n"), std::string::npos) << json;
  EXPECT_NE(json.find("\n   \"price\": {\n    \"raw\": \"5\",\n"), std::string::npos) << json;
  EXPECT_TRUE(json.ends_with("\n  }\n ]\n}")) << json;
}

TEST(Models, AbsentFieldsAreNullOrLeftOut) {
  EnrichedCommerceMatch match;
  match.title = "a\xFF\x01\x1F\b\f\n\r\t\"\\/\x7F";
  match.match_score = -1;
  EXPECT_FALSE(match.relevance.has_value());
  const std::string head = R"({"title":"a)"
                           "\uFFFD"
                           R"(\u0001\u001f\b\f\n\r\t\"\\/)"
                           "\x7F"
                           R"(","direct_url":"","original_url":"",)";
  EXPECT_EQ(model_dump_json(match, std::nullopt, true), head + R"("match_score":-1,"page_type":"uncategorized"})");
  EXPECT_EQ(
      model_dump_json(match),
      head + R"("price":null,"merchant_name":null,)"
             R"("merchant_category":null,"thumbnail":null,"match_score":-1,"page_type":"uncategorized","brand":null,)"
             R"("sku":null,"condition":null,"stock_status":null,"primary_image_url":null,"shipping_info":null,)"
             R"("relevance":null})");
}

TEST(Models, PartsAreWrittenAsInTheWhole) {
  CommerceIntelligence commerce;
  commerce.items = {full_match()};
  const std::string summary = model_dump_json(commerce.summary);
  const std::string item = model_dump_json(commerce.items[0]);
  EXPECT_EQ(commerce.model_dump_json(), R"({"summary":)" + summary + R"(,"items":[)" + item + "]}");
  EXPECT_NE(item.find(R"("price":)" + model_dump_json(*commerce.items[0].price)), std::string::npos);
  EXPECT_EQ(model_dump_json_with_id("12345678901234567890123", commerce),
            R"({"id":12345678901234567890123,"summary":)" + summary + R"(,"items":[)" + item + "]}");
}

}  // namespace
}  // namespace quillmere
