// The machine-readable pieces of a page: products, page state, meta tags, title.

#include <map>
#include <string>

#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

#include "quillmere/commerce/destination_metadata_parser.hpp"
#include "quillmere/commerce/page/page_reader.hpp"
#include "quillmere/text/unicode.hpp"

namespace quillmere::commerce {
namespace {

struct PieceCase {
  const char* name;
  std::string html;
  /// Names of the products in order, each behind a space; or the text of the piece; "-" when it is absent.
  const char* expected;

  friend std::ostream& operator<<(std::ostream& out, const PieceCase& row) { return out << row.html; }
};

std::string name_member(text::JsonValue object) {
  const auto name = object.find("name");
  return name ? name->string() : "?";
}

std::string ld(const std::string& json) {
  return "<script type=\"application/ld+json\">" + json + "</script>";
}

class LdJsonProducts : public testing::TestWithParam<PieceCase> {};

TEST_P(LdJsonProducts, ComeInOrder) {
  std::string names;
  for (const text::JsonValue product : DestinationMetadataParser::_find_ld_json_products(GetParam().html).products) {
    names += " " + name_member(product);
  }
  EXPECT_EQ(names, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Blocks, LdJsonProducts,
    testing::ValuesIn<PieceCase>({
        {"broken_block_costs_itself", ld("{\"@type\":\"Product\",}") + ld(R"({"@type":"Product","name":"B"})"), " B"},
        {"blank_blocks", ld("") + ld(" \u00A0\n") + ld(R"(  {"@type":"Product","name":"B"} )"), " B"},
        {"array_at_the_top",
         ld(R"([{"@type":"Product","name":"A"},7,{"@type":"Thing"},[{"@type":"Product","name":"B"}]])"), " A B"},
        {"type_array",
         ld(R"([{"@type":["Thing","Product"],"name":"A"},{"@type":["IndividualProduct"],"name":"B"},{"@type":[["Product"]],"name":"C"}])"),
         " A"},
        {"type_texts",
         ld(R"([{"@type":"IndividualProduct","name":"A"},{"@type":"ProductGroup","name":"B"},{"@type":"product","name":"C"},{"@type":"\u0050roduct","name":"D"}])"),
         " A B D"},
        {"variants_follow_their_group",
         ld(R"({"@type":"ProductGroup","name":"G","hasVariant":[{"@type":"Product","name":"V1"},{"@type":"Product","name":"V2"}],"z":{"@type":"Product","name":"Z"}})"),
         " G V1 V2 Z"},
        {"graph_once", ld(R"({"@graph":[{"@type":"Product","name":"A"}]})"), " A"},
        {"graph_first", ld(R"({"main":{"@type":"Product","name":"A"},"@graph":[{"@type":"Product","name":"B"}]})"),
         " B A"},
        {"graph_of_a_product_in_its_place",
         ld(R"({"@type":"Product","name":"P","main":{"@type":"Product","name":"A"},"@graph":[{"@type":"Product","name":"B"}]})"),
         " P A B"},
        {"graph_object_is_a_member",
         ld(R"({"a":{"@type":"Product","name":"A"},"@graph":{"@type":"Product","name":"B"}})"), " A B"},
        {"graph_in_a_graph",
         ld(R"({"@graph":[{"x":{"@type":"Product","name":"B"},"@graph":[{"@type":"Product","name":"A"}]}]})"), " A B"},
        {"escaped_letters",
         ld(R"([{"@type":"\u0050roduct","name":"A"}])") + ld(R"({"\u0040type":"Product","name":"B"})"), " A B"},
        {"objects_of_many_blocks_live_together",
         ld(R"({"@type":"Product","name":"A"})") + ld(R"(["Product"])") + ld(R"({"@type":"Product","name":"B"})") +
             ld(R"({"@type":"Product","name":"C"})"),
         " A B C"},
        {"repeated_key_counts_once",
         ld(R"({"a":{"@type":"Product","name":"A"},"b":{"@type":"Product","name":"B"},"a":{"@type":"Product","name":"C"}})"),
         " C B"},
        {"repeated_type_last_wins", ld(R"({"@type":"Product","name":"A","@type":"Thing"})"), ""},
        {"wrapped_in_a_comment", ld("<!-- {\"@type\":\"Product\",\"name\":\"A\"}; -->"), " A"},
        {"wrapped_in_cdata", ld("//<![CDATA[\n{\"@type\":\"Product\",\"name\":\"A\"}\n//]]>"), " A"},
        {"too_deep_costs_itself", ld(std::string(2000, '[')) + ld(R"({"@type":"Product","name":"B"})"), " B"},
        {"deep_enough", ld(std::string(500, '[') + R"({"@type":"Product","name":"A"})" + std::string(500, ']')), " A"},
    }),
    row_name);

std::string state(const std::string& json) {
  return "<script id=\"__NEXT_DATA__\">" + json + "</script>";
}
std::string props(const std::string& json) {
  return state(R"({"props":{"pageProps":)" + json + "}}");
}

class NextData : public testing::TestWithParam<PieceCase> {};

TEST_P(NextData, IsTheProductObject) {
  const auto found = DestinationMetadataParser::_find_next_data_product(GetParam().html);
  EXPECT_EQ(found ? std::string(found->product.raw()) : "-", GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    State, NextData,
    testing::ValuesIn<PieceCase>({
        {"no_json", state("{"), "-"},
        {"null_props", state(R"({"props":null})"), "-"},
        {"array_at_the_top", state("[]"), "-"},
        {"missing_props", state("{}"), "-"},
        {"text_page_props", state(R"({"props":{"pageProps":"x"}})"), "-"},
        {"empty_object_counts", props(R"({"product":{},"item":{"name":"x"}})"), "{}"},
        {"keys_in_their_own_order", props(R"({"productDetails":{"d":1},"item":{"i":1}})"), R"({"i":1})"},
        {"text_product_falls_through", props(R"({"product":"x","a":{"brand":null,"name":1}})"),
         R"({"brand":null,"name":1})"},
        {"page_props_themselves", props(R"({"brandName":1,"sku":2})"), R"({"brandName":1,"sku":2})"},
        {"depth_first", props(R"({"a":{"b":{"brand":1,"sku":1}},"c":{"brand":2,"sku":2}})"), R"({"brand":1,"sku":1})"},
        {"not_in_arrays", props(R"({"a":[{"brand":1,"sku":1}]})"), "-"},
        {"one_key_is_not_enough", props(R"({"a":{"name":1,"sku":1}})"), "-"},
        {"first_script_only", state("{") + props(R"({"item":{}})"), "-"},
    }),
    row_name);

class HtmlTitle : public testing::TestWithParam<PieceCase> {};

TEST_P(HtmlTitle, IsTheFirstTitle) {
  EXPECT_EQ(DestinationMetadataParser::_extract_html_title(GetParam().html).value_or("-"), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Titles, HtmlTitle,
                         testing::ValuesIn<PieceCase>({
                             {"collapsed", "<title>\nRed   Shoes\n</title>", "Red Shoes"},
                             {"references_stay", "<TITLE lang=en>A &amp; B</Title><title>C</title>", "A &amp; B"},
                             {"blank_is_present", "<title> \u2003 </title>", ""},
                             {"none", "<p>title</p>", "-"},
                         }),
                         row_name);

struct MetaCase {
  const char* name;
  const char* html;
  std::map<std::string, std::string> expected;

  friend std::ostream& operator<<(std::ostream& out, const MetaCase& row) { return out << row.html; }
};

class MetaMap : public testing::TestWithParam<MetaCase> {};

TEST_P(MetaMap, HoldsLastContentsByLowerCasedKeys) {
  EXPECT_EQ(DestinationMetadataParser::_extract_meta_tags(GetParam().html), GetParam().expected);
  page::PageReader reader;
  reader.open(GetParam().html);
  for (const auto& [key, content] : GetParam().expected) {
    EXPECT_EQ(text::is_ascii(key) ? reader.meta_tags().find(key) : content, content) << key;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Tags, MetaMap,
    testing::ValuesIn<MetaCase>({
        {"none", "<p><meta charset=\"utf-8\">", {}},
        {"later_tag_replaces",
         "<meta property=\"og:title\" content=\"A\"><META name='OG:Title' CONTENT='B'>",
         {{"og:title", "B"}}},
        {"empty_content_is_ignored", "<meta name=\"a\" content=\"A\"><meta name='a' content=''>", {{"a", "A"}}},
        {"blank_key_and_content", "<meta name=' ' content='A'><meta name='b' content='\u00A0'>", {}},
        {"stripped_and_not_decoded", "<meta content=' A&amp;B ' name='\u2003K\n'>", {{"k", "A&amp;B"}}},
        {"unicode_lower_case",
         "<meta name=\"\u00C9T\u212A\" content=\"A\"><meta name=\"ma\u212Ae\" content=\"B\">",
         {{"\u00E9tk", "A"}, {"make", "B"}}},
    }),
    row_name);

}  // namespace
}  // namespace quillmere::commerce
