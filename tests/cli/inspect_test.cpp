#include "tests/cli/run_tool.hpp"
#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

namespace quillmere::tests {
namespace {

struct InspectRow {
  const char* name;
  const char* operation;
  std::string input;
  std::string output;
};

class Inspect : public testing::TestWithParam<InspectRow> {};

TEST_P(Inspect, AnswersEachLineWithOne) {
  const Workspace workspace;
  const InspectRow& row = GetParam();
  EXPECT_EQ(run_tool({"inspect", row.operation}, row.input, workspace), (ToolResult{row.output, "", 0}));
  workspace.write("input.jsonl", row.input);
  EXPECT_EQ(run_tool({"inspect", row.operation, "input.jsonl"}, "", workspace), (ToolResult{row.output, "", 0}));
}

std::string error_line(const std::string& text) {
  return R"({"error":")" + text + "\"}\n";
}

std::string long_page(const std::string& head) {
  return "<html><head>" + head + "</head><body>" + std::string(220, '.') + "</body></html>";
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Inspect,
    testing::ValuesIn<InspectRow>({
        // Url.
        {"tracking", "url", R"({"url":"HTTPS://WWW.Shop.Example:8443/p?utm_source=a&color=red#:~:text=red"})",
         R"({"direct_url":"https://WWW.Shop.Example:8443/p?color=red","domain":"shop.example:8443"})"
         "\n"},
        {"malformed", "url", R"({"url":"http://[x/"})",
         error_line(R"(line 1: network location \"[x\": \"[\" without \"]\")")},
        // Price.
        {"hint", "price", R"({"price":"20","currency":"£"})",
         R"({"price":{"raw":"20","amount":20.0,"currency":"GBP"}})"
         "\n"},
        {"unreadable", "price", R"({"price":"Free shipping"})", "{\"price\":null}\n"},
        {"absent", "price", "{}\n{\"price\":null}", "{\"price\":null}\n{\"price\":null}\n"},
        {"not_utf8", "price", "{\"price\":\"5 \xFF\"}",
         "{\"price\":{\"raw\":\"5 \xEF\xBF\xBD\",\"amount\":5.0,\"currency\":\"USD\"}}\n"},
        {"wrong_type", "price", R"({"price":5})",
         error_line(R"(line 1: field \"price\": expected text, got a number)")},
        // Merchant.
        {"official", "merchant", R"({"domain":"shop.brandx.example","title":"","brand":"BrandX","merchant_name":null})",
         "{\"merchant_category\":\"official_brand\"}\n"},
        {"unverified", "merchant",
         R"({"domain":"shop.brandx.example","title":"Drill","brand":"Acme Tools","merchant_name":"Acme"})",
         "{\"merchant_category\":\"unverified\"}\n"},
        {"no_domain", "merchant", R"({"title":"Drill"})",
         error_line(R"(line 1: field \"domain\": expected text, got nothing)")},
        // Page.
        {"every_field_is_written", "page",
         R"({"html":null,"direct_url":"https://www.shop.example/","initial_title":"Red Shoe 7","rank":2})",
         R"({"title":"Red Shoe 7","merchant_name":"shop.example","brand":null,"sku":null,"price":null,"stock_status":null,)"
         R"("condition":null,"primary_image_url":null,"shipping_info":null,"page_type":"uncategorized","match_score":95,)"
         R"("fetch_source":"serp_fallback"})"
         "\n"},
        {"seeds", "page",
         R"({"direct_url":"https://www.amazon.com/dp/1","initial_title":"Caf&eacute;  Table","initial_merchant":"Shop",)"
         R"("initial_price":{"raw":"x","amount":5,"currency":""},"initial_stock":false,"rank":null})",
         R"({"title":"Café Table","merchant_name":"Shop","brand":"Shop","sku":null,)"
         R"("price":{"raw":"5.00 USD","amount":5.0,"currency":"USD"},"stock_status":"out_of_stock","condition":null,)"
         R"("primary_image_url":null,"shipping_info":null,"page_type":"marketplace","match_score":98,)"
         R"("fetch_source":"serp_fallback"})"
         "\n"},
        {"page_text_with_escapes", "page",
         R"({"html":"<script type=\"application\/ld+json\">{\"@type\":\"Product\",\"name\":\"Gr\u00fcner Schuh\",\"sku\":\"S-1\"}<\/script>)" +
             std::string(200, '.') + R"(","direct_url":"https://shop.example/p/1","initial_title":"Shoe"})",
         R"({"title":"Grüner Schuh","merchant_name":"shop.example","brand":null,"sku":"S-1","price":null,)"
         R"("stock_status":null,"condition":null,"primary_image_url":null,"shipping_info":null,"page_type":"product",)"
         R"("match_score":98,"fetch_source":"ld_json"})"
         "\n"},
        {"page_text_without_escapes", "page",
         R"({"html":")" + long_page("<meta property='og:title' content='A'>") +
             R"(","direct_url":"https://shop.example/about","initial_title":"A Fine Shoe"})",
         R"({"title":"A Fine Shoe","merchant_name":"shop.example","brand":null,"sku":null,"price":null,)"
         R"("stock_status":null,"condition":null,"primary_image_url":null,"shipping_info":null,)"
         R"("page_type":"uncategorized","match_score":98,"fetch_source":"opengraph"})"
         "\n"},
        {"wrong_html", "page", R"({"html":5,"direct_url":"x"})",
         error_line(R"(line 1: field \"html\": expected text or null, got a number)")},
        {"wrong_rank", "page", R"({"direct_url":"x","rank":1.5})",
         error_line(R"(line 1: field \"rank\": expected a whole number, got 1.5)")},
        {"wrong_stock", "page", R"({"direct_url":"x","initial_stock":"yes"})",
         error_line(R"(line 1: field \"initial_stock\": expected true, false or null, got text)")},
        {"wrong_price", "page", R"({"direct_url":"x","initial_price":5})",
         error_line(
             R"(line 1: field \"initial_price\": expected an object with \"raw\", \"amount\" and \"currency\", got a number)")},
        {"price_without_amount", "page", R"({"direct_url":"x","initial_price":{"raw":"5"}})",
         error_line(R"(line 1: field \"initial_price.amount\": expected a number, got nothing)")},
        {"endless_price", "page", R"({"direct_url":"x","initial_price":{"amount":1e999}})",
         error_line(R"(line 1: field \"initial_price.amount\": expected a finite number, got 1e999)")},
        {"malformed_url", "page", R"({"direct_url":"http://[x/"})",
         error_line(R"(line 1: network location \"[x\": \"[\" without \"]\")")},
        // Lines.
        {"no_input", "url", "", ""},
        {"bad_lines_cost_themselves", "url",
         "{\"url\":\"a\"}\n{\"url\":\n[1]\n{\"url\":7}\n{\"url\":null}\n\"x\"\n{\"url\":\"b\"}\n",
         "{\"direct_url\":\"a\",\"domain\":\"\"}\n" + error_line("line 2: not JSON: expected a value") +
             error_line("line 3: expected an object, got an array") +
             error_line(R"(line 4: field \"url\": expected text, got a number)") +
             error_line(R"(line 5: field \"url\": expected text, got null)") +
             error_line("line 6: expected an object, got text") + "{\"direct_url\":\"b\",\"domain\":\"\"}\n"},
        {"blank_lines_are_passed_over", "url", "\n{\"url\":\"a\"}\n \t\n{}",
         "{\"direct_url\":\"a\",\"domain\":\"\"}\n" +
             error_line(R"(line 4: field \"url\": expected text, got nothing)")},
        {"windows_file", "url", "\xEF\xBB\xBF{\"url\":\"a\"}\r\n\r\n{\"url\":\"b\"}\r\n",
         "{\"direct_url\":\"a\",\"domain\":\"\"}\n{\"direct_url\":\"b\",\"domain\":\"\"}\n"},
        {"line_longer_than_any_buffer", "url", "{\"url\":\"" + std::string(3'000'000, 'a') + "\"}\n{\"url\":\"b\"}\n",
         "{\"direct_url\":\"" + std::string(3'000'000, 'a') +
             "\",\"domain\":\"\"}\n{\"direct_url\":\"b\",\"domain\":\"\"}\n"},
    }),
    row_name);

TEST(InspectInput, Utf16IsRefused) {
  const Workspace workspace;
  EXPECT_EQ(run_tool({"inspect", "url"}, std::string("\xFF\xFE{\0\n\0", 6), workspace),
            (ToolResult{"", "quillmere: standard input:1: expected UTF-8, got UTF-16; save the file as UTF-8\n", 2}));
}

}  // namespace
}  // namespace quillmere::tests
