// Facts out of JSON-LD and embedded page state.

#include <string>

#include "tests/commerce/page/page_case.hpp"

namespace quillmere::commerce {
namespace {

/// A row whose page is one block of the given JSON.
struct JsonCase {
  const char* name;
  const char* json;
  const char* expected;
  const char* url = "https://shop.example/x";
  std::optional<NormalizedPrice> price = std::nullopt;
  std::optional<bool> in_stock = std::nullopt;

  friend std::ostream& operator<<(std::ostream& out, const JsonCase& row) { return out << row.json; }
};

void expect_facts_of(const JsonCase& row, const std::string& script_attributes) {
  const std::string html = "<script " + script_attributes + ">" + row.json + "</script>";
  expect_facts({.name = row.name,
                .html = html.c_str(),
                .expected = row.expected,
                .url = row.url,
                .price = row.price,
                .in_stock = row.in_stock});
}

const NormalizedPrice SEEN{.raw = "7", .amount = 7, .currency = "GBP"};

class LdJson : public testing::TestWithParam<JsonCase> {};

TEST_P(LdJson, GivesTheFacts) {
  expect_facts_of(GetParam(), R"(type="application/ld+json")");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, LdJson,
    testing::ValuesIn<JsonCase>({
        // Product.
        {"second_product_says_more",
         R"([{"@type":"Product","name":"First","brand":"A"},{"@type":"Product","name":"Second","sku":"S2"}])",
         "title=Second\nbrand=-\nsku=S2\ntype=product\nsource=ld_json"},
        {"first_when_none_says_more",
         R"([{"@type":"Product","name":"First","sku":"","offers":[]},{"@type":"Product","name":"Second"}])",
         "title=First"},
        {"marketplace_stays", R"({"@type":"Product","name":"A b"})", "type=marketplace\nsource=ld_json",
         "https://www.etsy.com/listing/1"},
        {"social_network_is_not_read", R"({"@type":"Product","name":"A b","sku":"1"})",
         "title=Plain Item Name\ntype=social\nsource=serp_fallback", "https://www.reddit.com/x"},
        {"name_is_stripped_and_decoded", R"({"@type":"Product","name":" Caf\u00e9 &amp; Bar "})", "title=Café & Bar"},
        {"blank_name_keeps_the_title", R"({"@type":"Product","name":" \t"})", "title=Plain Item Name"},
        {"number_is_no_name", R"({"@type":"Product","name":12})", "title=Plain Item Name"},
        {"brand_object", R"({"@type":"Product","brand":{"name":" Acme "}})", "brand=Acme"},
        {"brand_object_with_a_number", R"({"@type":"Product","brand":{"name":501}})", "brand=501"},
        {"brand_object_without_a_text", R"({"@type":"Product","brand":{"name":null}})", "brand=-"},
        {"empty_brand_is_present", R"({"@type":"Product","brand":""})", "brand=", "https://www.etsy.com/x"},
        {"brand_array_is_no_brand", R"({"@type":"Product","brand":["Acme"]})", "brand=-"},
        // Identifier and image.
        {"gtin_behind_an_empty_sku", R"({"@type":"Product","sku":"","gtin13":"4006381333931"})", "sku=4006381333931"},
        {"number_keeps_its_digits", R"({"@type":"Product","sku":12345678901234567890123})",
         "sku=12345678901234567890123"},
        {"fraction_keeps_one_digit", R"({"@type":"Product","sku":20.0})", "sku=20.0"},
        {"zero_is_no_identifier", R"({"@type":"Product","sku":0,"mpn":" P-1 "})", "sku=P-1"},
        {"value_without_a_text_is_passed_over", R"({"@type":"Product","sku":["A"],"gtin12":true,"mpn":"P-2"})",
         "sku=P-2"},
        {"first_of_an_image_array", R"({"@type":"Product","image":["a.png","b.png"]})", "image=a.png"},
        {"image_object", R"({"@type":"Product","image":{"url":"c.png"}})", "image=c.png"},
        {"image_object_without_a_text", R"({"@type":"Product","image":{"url":["c.png"]}})", "image=-"},
        {"image_objects_in_an_array", R"({"@type":"Product","image":[{"contentUrl":"d.png","url":null}]})",
         "image=d.png"},
        {"number_in_an_image_array", R"({"@type":"Product","image":[7]})", "image=-"},
        // Offers.
        {"variants_fill_before_the_first_with_offers", R"({"@type":"ProductGroup","hasVariant":[null,
        {"sku":" V1 ","image":["v1.png"]},{"sku":"V2","offers":{"price":5,"priceCurrency":"EUR"}},{"offers":{"price":9}}]})",
         "sku=V1\nimage=v1.png\nprice=5.0 EUR"},
        {"variant_image_object_leaves_it_absent",
         R"({"@type":"ProductGroup","hasVariant":[{"image":{"url":"v.png"},"offers":{"price":1}}]})", "image=-"},
        {"another_product_supplies_offers_and_identifier",
         R"([{"@type":"Product","hasVariant":[{}]},{"@type":"Product","sku":"B","offers":{"price":"3"}}])",
         "sku=B\nprice=3.0 USD"},
        {"empty_offers_keep_the_seeds", R"({"@type":"Product","name":"A b","offers":[]})",
         "price=7.0 GBP\nstock=out_of_stock\ncondition=-", "https://shop.example/x", SEEN, false},
        {"null_first_offer_is_none", R"({"@type":"Product","offers":[null,{"price":5}]})", "price=7.0 GBP",
         "https://shop.example/x", SEEN},
        {"text_is_no_offer", R"({"@type":"Product","offers":"5 EUR"})", "price=-"},
        {"zero_price_yields_to_low_price", R"({"@type":"Product","offers":{"price":0,"lowPrice":"12.50"}})",
         "price=12.5 USD"},
        {"high_price_counts_even_when_zero", R"({"@type":"Product","offers":{"price":null,"highPrice":0}})",
         "price=0.0 USD", "https://shop.example/x", SEEN},
        {"currency_without_a_price", R"({"@type":"Product","offers":{"priceCurrency":"sek"}})", "price=-"},
        {"printed_currency_beats_the_code", R"({"@type":"Product","offers":{"price":"€ 5","priceCurrency":"SEK"}})",
         "price=5.0 EUR"},
        {"code_that_is_no_text", R"({"@type":"Product","offers":{"price":"5","priceCurrency":["EUR"]}})",
         "price=5.0 USD"},
        {"unreadable_price_keeps_the_seed",
         R"({"@type":"Product","offers":{"price":"on request","priceCurrency":"SEK"}})", "price=7.0 GBP",
         "https://shop.example/x", SEEN},
        {"price_beyond_a_double", R"({"@type":"Product","offers":{"price":1e400}})", "price=1.0 USD"},
        // Stock and condition.
        {"in_stock_term", R"({"@type":"Product","offers":{"availability":"https://schema.org/InStock"}})",
         "stock=in_stock"},
        {"out_of_stock_term", R"({"@type":"Product","offers":{"availability":"https://schema.org/OutOfStock"}})",
         "stock=out_of_stock\ncondition=-"},
        {"sold_out", R"({"@type":"Product","offers":{"availability":"SoldOut"}})", "stock=out_of_stock"},
        {"preorder", R"({"@type":"Product","offers":{"availability":"PreOrder"}})", "stock=preorder"},
        {"unknown_term_keeps_the_seed", R"({"@type":"Product","offers":{"availability":"LimitedAvailability"}})",
         "stock=out_of_stock", "https://shop.example/x", std::nullopt, false},
        {"availability_without_a_text", R"({"@type":"Product","offers":{"availability":["InStock"]}})", "stock=-"},
        {"refurbished", R"({"@type":"Product","offers":{"itemCondition":"https://schema.org/RefurbishedCondition"}})",
         "condition=refurbished"},
        {"used", R"({"@type":"Product","offers":{"itemCondition":"UsedCondition"}})", "condition=used"},
        {"renewed_contains_new", R"({"@type":"Product","offers":{"itemCondition":"renewed"}})", "condition=new"},
    }),
    row_name);

class PageState : public testing::TestWithParam<JsonCase> {};

TEST_P(PageState, GivesTheFacts) {
  expect_facts_of(GetParam(), R"(id="__NEXT_DATA__")");
}

INSTANTIATE_TEST_SUITE_P(
    Product, PageState,
    testing::ValuesIn<JsonCase>({
        {"new_and_in_stock_whatever_was_known", R"({"props":{"pageProps":{"product":{"title":" T &amp; U "}}}})",
         "title=T & U\nstock=in_stock\ncondition=new\ntype=product\nsource=next_data", "https://shop.example/x",
         std::nullopt, false},
        {"second_cents_when_the_first_are_zero",
         R"({"props":{"pageProps":{"product":{"specialDisplayPriceCents":0,"retailPriceCents":12999}}}})",
         "price=129.99 USD"},
        {"known_price_is_kept", R"({"props":{"pageProps":{"product":{"retailPriceCents":12999,"price":"5"}}}})",
         "price=7.0 GBP", "https://shop.example/x", SEEN},
        {"cents_as_text_yield_to_the_price",
         R"({"props":{"pageProps":{"product":{"retailPriceCents":"12999","price":"£5"}}}})", "price=5.0 GBP"},
        {"negative_cents_yield_to_the_price",
         R"({"props":{"pageProps":{"product":{"lowestPriceCents":-1,"price":8.5}}}})", "price=8.5 USD"},
        {"brand_name_before_brand", R"({"props":{"pageProps":{"product":{"brandName":" ","brand":"B","sku":99}}}})",
         "brand=-\nsku=99"},
        {"image_is_not_read", R"({"props":{"pageProps":{"product":{"image":"a.png","brand":"B"}}}})",
         "image=-\nbrand=B"},
        {"empty_product_is_none", R"({"props":{"pageProps":{"product":{}}}})", "source=opengraph\nstock=-"},
        {"marketplace_stays", R"({"props":{"pageProps":{"item":{"name":"N b"}}}})",
         "type=marketplace\nsource=next_data", "https://www.target.com/p/1"},
    }),
    row_name);

TEST(StructuredData, JsonLdComesBeforePageState) {
  expect_facts({.name = "",
                .html = R"(<script id="__NEXT_DATA__">{"props":{"pageProps":{"product":{"name":"State"}}}}</script>
                           <script type='application/ld+json'>{"@type":"Product","name":"Linked"}</script>)",
                .expected = "title=Linked\nsource=ld_json"});
}

}  // namespace
}  // namespace quillmere::commerce
