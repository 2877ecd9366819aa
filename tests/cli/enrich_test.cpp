#include "tests/cli/run_tool.hpp"
#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

namespace quillmere::tests {
namespace {

/// `enrich` of `input` from given pages, so that nothing is fetched; the items as JSON Lines.
ToolResult enrich_lines(const std::string& input, const Workspace& workspace) {
  workspace.write("pages.jsonl", "");
  return run_tool({"enrich", "--pages", "pages.jsonl", "-f", "jsonl", "--quiet"}, input, workspace);
}

std::string item(const std::string& title, int score = 98) {
  return R"({"title":")" + title +
         R"(","direct_url":"https://shop.example/p","original_url":"https://shop.example/p",)" +
         R"("merchant_name":"shop.example","match_score":)" + std::to_string(score) +
         R"(,"page_type":"uncategorized","relevance":")" + (score >= 60 ? "medium" : "low") + "\"}\n";
}

struct InputRow {
  const char* name;
  std::string input;
  std::string output;
};

class EnrichInput : public testing::TestWithParam<InputRow> {};

TEST_P(EnrichInput, IsRead) {
  const Workspace workspace;
  EXPECT_EQ(enrich_lines(GetParam().input, workspace), (ToolResult{GetParam().output, "", 0}));
}

const std::string MATCH_A = R"({"link":"https://shop.example/p","title":"Item Number 1"})";
const std::string MATCH_B = R"({"link":"https://shop.example/p","title":"Item Number 2"})";
const std::string BOTH = item("Item Number 1") + item("Item Number 2", 95);

INSTANTIATE_TEST_SUITE_P(
    Rows, EnrichInput,
    testing::ValuesIn<InputRow>({
        {"array", "[" + MATCH_A + ",\n" + MATCH_B + "]", BOTH},
        {"matches", R"({"query":1,"matches":[)" + MATCH_A + "," + MATCH_B + "]}", BOTH},
        {"search_answer",
         R"({"search_metadata":{"id":"x"},"matches":null,"visual_matches":[)" + MATCH_A + "," + MATCH_B + "]}", BOTH},
        {"lines", MATCH_A + "\n\n" + MATCH_B + "\n", BOTH},
        {"lines_of_windows", "\xEF\xBB\xBF" + MATCH_A + "\r\n" + MATCH_B, BOTH},
        {"one_match", MATCH_A, item("Item Number 1")},
        {"one_match_over_lines", "{\n\"title\":\"Item Number 1\",\n\"link\":\"https://shop.example/p\"}\n",
         item("Item Number 1")},
        {"no_matches", "[]", ""},
        {"nothing", " \n", ""},
        {"optional_fields_null",
         R"([{"link":"https://shop.example/p","title":"Item Number 1","source":null,"price":null,"currency":null,"in_stock":null,"thumbnail":null}])",
         item("Item Number 1")},
        {"all_fields",
         R"([{"position":1,"link":"https://www.amazon.com/dp/1?ref=x&fbclid=y","title":"Red Shoe","source":"Amazon","price":"20",)"
         R"("currency":"€","in_stock":true,"thumbnail":"https://t.example/1.jpg"}])",
         R"({"title":"Red Shoe","direct_url":"https://www.amazon.com/dp/1?ref=x","original_url":"https://www.amazon.com/dp/1?ref=x&fbclid=y",)"
         R"("price":{"raw":"20.00 EUR","amount":20.0,"currency":"EUR"},"merchant_name":"Amazon","merchant_category":"major_marketplace",)"
         R"("thumbnail":"https://t.example/1.jpg","match_score":98,"page_type":"marketplace","stock_status":"in_stock",)"
         R"("primary_image_url":"https://t.example/1.jpg","relevance":"high"})"
         "\n"},
        {"price_object",
         R"([{"link":"https://www.ebay.com/itm/1","title":"Red Shoe","source":"eBay","currency":"USD",)"
         R"("price":{"value":"45*","extracted_value":45.0,"currency":"£"}}])",
         R"({"title":"Red Shoe","direct_url":"https://www.ebay.com/itm/1","original_url":"https://www.ebay.com/itm/1",)"
         R"("price":{"raw":"45.00 GBP","amount":45.0,"currency":"GBP"},"merchant_name":"eBay","merchant_category":"major_marketplace",)"
         R"("match_score":98,"page_type":"marketplace","stock_status":"in_stock","relevance":"high"})"
         "\n"},
        {"not_utf8", "[{\"link\":\"https://shop.example/p\",\"title\":\"Item Number \xFF\"}]",
         item("Item Number \xEF\xBF\xBD")},
    }),
    row_name);

class RefusedEnrichInput : public testing::TestWithParam<InputRow> {};

TEST_P(RefusedEnrichInput, SaysWhereAndWhy) {
  const Workspace workspace;
  workspace.write("matches.json", GetParam().input);
  workspace.write("out.json", "earlier");
  EXPECT_EQ(run_tool({"enrich", "matches.json", "-o", "out.json", "--pages", "/dev/null"}, "", workspace),
            (ToolResult{"", "quillmere: matches.json:" + GetParam().output + "\n", 2}));
  EXPECT_EQ(workspace.read("out.json"), "earlier");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedEnrichInput,
    testing::ValuesIn<InputRow>({
        {"wrong_type", "[\n" + MATCH_A + ",\n{\"link\":17,\"title\":\"x\"}]",
         R"(3: field "link": expected text, got a number)"},
        {"wrong_type_without_line_breaks", "[" + MATCH_A + R"(,{"link":17,"title":"x"}])",
         R"(1: match 2: field "link": expected text, got a number)"},
        {"wrong_type_in_lines", MATCH_A + "\n\n" + R"({"link":"x","title":[]})",
         R"(3: field "title": expected text, got an array)"},
        {"missing_field", "[\n{\"title\":\"x\"}\n]", R"(2: field "link": expected text, got nothing)"},
        {"wrong_stock", R"([{"link":"x","title":"x","in_stock":1}])",
         R"(1: field "in_stock": expected true, false or null, got a number)"},
        {"wrong_price", R"([{"link":"x","title":"x","price":20}])",
         R"(1: field "price": expected text or an object with "value", got a number)"},
        {"wrong_price_value", R"([{"link":"x","title":"x","price":{"value":20}}])",
         R"(1: field "price.value": expected text, got a number)"},
        {"match_of_another_kind", "[\n" + MATCH_A + ",\n\"x\"]", "3: expected a match object, got text"},
        {"broken", "[\n" + MATCH_A + ",\n{\"link\" 3}]", "3: not JSON: expected ':' after a key"},
        {"text_behind", "[]\n\nx", "3: not JSON: expected nothing after the document"},
        {"number", "\n5", "2: expected an array of matches or an object with \"matches\", got a number"},
        {"no_matches", R"({"error":"no results"})",
         R"(1: expected "matches" or "visual_matches", or the "link" and "title" of a match; found neither, but "error": "no results")"},
        {"page_of_a_server", "\n<!DOCTYPE html><title>502</title>",
         "1: expected JSON, got HTML or XML; perhaps a server's error page was saved"},
        {"broken_in_a_long_line", "[" + MATCH_A + ",\n[\"" + std::string(300, 'x') + "\" 5]]",
         "2: not JSON: expected ',' or ']' after an element, at byte 305 of the line"},
        {"packed", "\x1F\x8B\x08", "1: expected JSON, got gzip; unpack it first (gunzip)"},
        {"matches_of_another_kind", R"({"matches":{}})", R"(1: field "matches": expected an array, got an object)"},
        {"searches", "{\"id\":1,\"matches\":[]}\n{\"id\":2,\"matches\":[]}\n",
         "1: expected one match a line, got a search; \"quillmere batch\" takes one search a line"},
        {"utf16", std::string("\xFE\xFF\0[", 4), "1: expected UTF-8, got UTF-16; save the file as UTF-8"},
    }),
    row_name);

TEST(Enrich, LinkThatCannotBeReadEndsTheRunWithItsPlace) {
  const Workspace workspace;
  workspace.write("matches.json", "[" + MATCH_A + ",\n{\"link\":\"http://[x/\",\"title\":\"x\"}]");
  EXPECT_EQ(
      run_tool({"enrich", "matches.json", "-o", "out.json", "--pages", "/dev/null"}, "", workspace),
      (ToolResult{"", "quillmere: matches.json:2: field \"link\": network location \"[x\": \"[\" without \"]\"\n", 1}));
  EXPECT_EQ(workspace.names(), (std::vector<std::string>{"matches.json"}));
}

TEST(Enrich, EveryOutputGetsItsForm) {
  const Workspace workspace;
  workspace.write("matches.json", "[" + MATCH_A + "]");
  const std::vector<std::string> enrich = {"enrich", "matches.json", "--pages", "/dev/null"};
  const auto with = [&](std::vector<std::string> more) {
    more.insert(more.begin(), enrich.begin(), enrich.end());
    const ToolResult result = run_tool(more, "", workspace);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(without_time(result.errors), "1 match, 0 pages (1 not given), 0 priced, T s\n");
    return result.output;
  };
  const std::string json = with({"-o", "a.json", "-o", "new/dir/a.csv", "-o", "a.jsonl", "-o", "-"});
  EXPECT_EQ(workspace.read("a.json"), json);
  EXPECT_EQ(json.substr(0, 36), "{\n  \"summary\": {\n    \"total_matches\"");
  EXPECT_EQ(json.back(), '}');
  EXPECT_EQ(workspace.read("new/dir/a.csv").substr(0, 23), "Match Score,Relevance,P");
  EXPECT_EQ(workspace.read("a.jsonl"), item("Item Number 1"));
  EXPECT_EQ(with({}), json);
  EXPECT_EQ(with({"-f", "csv"}), workspace.read("new/dir/a.csv"));
  EXPECT_EQ(with({"-f", "csv", "-o", "b.json"}), "");
  EXPECT_EQ(workspace.read("b.json"), workspace.read("new/dir/a.csv"));
  EXPECT_EQ(workspace.names(), (std::vector<std::string>{"a.json", "a.jsonl", "b.json", "matches.json", "new"}));
}

TEST(Enrich, MaxItemsIsAListSlice) {
  const Workspace workspace;
  for (const auto& [count, summary] : std::vector<std::pair<std::string, std::string>>{
           {"1", "1 of 2 matches"}, {"-1", "1 of 2 matches"}, {"0", "0 of 2 matches"}, {"9", "2 matches"}}) {
    const ToolResult result = run_tool({"enrich", "--max-items", count, "--pages", "/dev/null", "-f", "jsonl"},
                                       "[" + MATCH_A + "," + MATCH_B + "]", workspace);
    EXPECT_EQ(result.errors.substr(0, result.errors.find(',')), summary);
    EXPECT_EQ(result.output, summary[0] == '0' ? "" : summary[0] == '1' ? item("Item Number 1") : BOTH) << count;
  }
}

TEST(Enrich, TakesPagesFromAFile) {
  const Workspace workspace;
  const std::string product =
      R"(<script type=\"application/ld+json\">{\"@type\":\"Product\",\"name\":\"Fine Shoe\"}</script>)" +
      std::string(200, '.');
  workspace.write("pages.jsonl", "\xEF\xBB\xBF{\"html\":\"first\",\"url\":\"https://shop.example/p\"}\r\n\n" +
                                     (R"({"url":"https://shop.example/p","html":")" + product) + "\"}\n" +
                                     R"({"url":"https://shop.example/q","html":null})");
  const std::string matches = "[" + MATCH_A + R"(,{"link":"https://shop.example/q","title":"Item Number 2"},)" +
                              R"({"link":"https://shop.example/r","title":"Item Number 3"}])";
  const ToolResult from_file = run_tool({"enrich", "--pages", "pages.jsonl", "-f", "csv"}, matches, workspace);
  EXPECT_NE(from_file.output.find(",Fine Shoe,"), std::string::npos) << from_file.output;
  EXPECT_NE(from_file.output.find(",Item Number 2,"), std::string::npos);
  EXPECT_EQ(without_time(from_file.errors), "3 matches, 1 page (2 not given), 0 priced, T s\n");
  workspace.write("matches.json", matches);
  EXPECT_EQ(run_tool({"enrich", "matches.json", "--pages", "-", "-f", "csv"}, workspace.read("pages.jsonl"), workspace)
                .output,
            from_file.output);
}

class RefusedPages : public testing::TestWithParam<InputRow> {};

TEST_P(RefusedPages, SayWhereAndWhy) {
  const Workspace workspace;
  workspace.write("pages.jsonl", "{\"url\":\"x\",\"html\":null}\n" + GetParam().input);
  EXPECT_EQ(run_tool({"enrich", "--pages", "pages.jsonl"}, "[]", workspace),
            (ToolResult{"", "quillmere: pages.jsonl:2: " + GetParam().output + "\n", 2}));
}

INSTANTIATE_TEST_SUITE_P(Rows, RefusedPages,
                         testing::ValuesIn<InputRow>({
                             {"broken", "{", "not JSON: expected a key in double quotes"},
                             {"no_object", "[]", "expected an object with \"url\" and \"html\", got an array"},
                             {"no_url", "{\"html\":null}", "field \"url\": expected text, got nothing"},
                             {"wrong_html", R"({"url":"x","html":1})",
                              "field \"html\": expected text or null, got a number"},
                         }),
                         row_name);

struct UnwritableRow {
  const char* name;
  const char* path;
  const char* error;
};

class Unwritable : public testing::TestWithParam<UnwritableRow> {};

TEST_P(Unwritable, IsFoundBeforeTheWork) {
  const Workspace workspace;
  workspace.write("file", "earlier");
  // The input is not even looked at.
  EXPECT_EQ(
      run_tool({"enrich", "no.json", "-o", "good.json", "-f", "json", "-o", GetParam().path}, "", workspace),
      (ToolResult{"", std::string("quillmere: ") + GetParam().path + ": cannot write: " + GetParam().error + "\n", 1}));
  EXPECT_EQ(workspace.names(), (std::vector<std::string>{"file"}));
}

TEST(Enrich, NeverWritesOverWhatItReads) {
  const Workspace workspace;
  workspace.write("matches.json", "[" + MATCH_A + "]");
  workspace.write("pages.jsonl", "");
  for (const auto& [option, file] :
       std::vector<std::pair<std::string, std::string>>{{"--output", "./matches.json"}, {"--output", "pages.jsonl"}}) {
    EXPECT_EQ(run_tool({"enrich", "matches.json", "--pages", "pages.jsonl", option, file}, "", workspace),
              (ToolResult{"", "quillmere: " + option + ": \"" + file + "\" is also read; write to another file\n", 2}));
  }
  EXPECT_EQ(run_tool({"enrich", "matches.json", "--save-pages", "matches.json"}, "", workspace),
            (ToolResult{"", "quillmere: --save-pages: \"matches.json\" is also read; write to another file\n", 2}));
  EXPECT_EQ(workspace.read("matches.json"), "[" + MATCH_A + "]");
}

constexpr const char* NO_DIRECTORY = "Not a directory; name a directory that is one, or can be made, before the file";

INSTANTIATE_TEST_SUITE_P(Rows, Unwritable,
                         testing::ValuesIn<UnwritableRow>({
                             {"directory", ".", "Is a directory; name a file in it"},
                             {"below_a_file", "file/out.json", NO_DIRECTORY},
                         }),
                         row_name);

TEST(Enrich, AFullDeviceCostsTheOtherOutputsNothing) {
  const Workspace workspace;
  const ToolResult result = run_tool(
      {"enrich", "--pages", "/dev/null", "-f", "jsonl", "-o", "/dev/full", "-o", "good.jsonl"}, MATCH_A, workspace);
  EXPECT_EQ(
      result,
      (ToolResult{
          "", "quillmere: /dev/full: cannot write: No space left on device; free some space or name another place\n",
          1}));
  EXPECT_EQ(workspace.read("good.jsonl"), item("Item Number 1"));
}

}  // namespace
}  // namespace quillmere::tests
