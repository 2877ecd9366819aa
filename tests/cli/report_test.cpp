#include "tests/cli/run_tool.hpp"
#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

namespace quillmere::tests {
namespace {

const std::string PAGE =
    R"(<html><head><script type="application/ld+json">{"@type":"Product","name":"Boot","sku":"B-1","brand":"Make",)"
    R"("image":"https://i.example/1.jpg","offers":{"price":"20","priceCurrency":"EUR",)"
    R"("availability":"https://schema.org/PreOrder","itemCondition":"https://schema.org/NewCondition"}}</script>)"
    R"(</head><body>A boot with a sole and a shaft, which this shop sells to all who walk in the rain and in the snow.</body></html>)";

TEST(Report, IsWhatEnrichWouldHaveWritten) {
  const Workspace workspace;
  std::string page;
  for (const char c : PAGE) page += c == '"' ? "\\\"" : std::string(1, c);
  workspace.write("pages.jsonl", R"({"url":"https://shop.example/p/1","html":")" + page + "\"}\n");
  const std::string matches =
      R"([{"link":"https://shop.example/p/1","title":"Boot","source":"Shop","thumbnail":"https://t.example/1.jpg"},)"
      R"({"link":"https://www.ebay.com/itm/2","title":"Red Shoe <b>","price":"$45","in_stock":false},)"
      R"({"link":"https://medium.com/x","title":"An article"}])";
  const ToolResult enriched =
      run_tool({"enrich", "--pages", "pages.jsonl", "-o", "a.json", "-o", "a.html", "--quiet"}, matches, workspace);
  ASSERT_EQ(enriched, (ToolResult{"", "", 0}));
  EXPECT_NE(workspace.read("a.json").find("preorder"), std::string::npos) << workspace.read("a.json");
  EXPECT_EQ(run_tool({"report"}, workspace.read("a.json"), workspace), (ToolResult{workspace.read("a.html"), "", 0}));
  EXPECT_EQ(run_tool({"report", "a.json", "-o", "b.html"}, "", workspace), (ToolResult{"", "", 0}));
  EXPECT_NE(workspace.read("b.html").find("<title>a.json, 3 matches</title>"), std::string::npos);
}

struct RefusedRow {
  const char* name;
  std::vector<std::string> arguments;
  std::string input;
  std::string error;
  int status = 2;
};

class RefusedReport : public testing::TestWithParam<RefusedRow> {};

TEST_P(RefusedReport, SaysWhereAndWhy) {
  const Workspace workspace;
  workspace.write("in.json", GetParam().input);
  workspace.write("out.html", "earlier");
  EXPECT_EQ(run_tool(GetParam().arguments, "", workspace),
            (ToolResult{"", "quillmere: " + GetParam().error + "\n", GetParam().status}));
  EXPECT_EQ(workspace.read("out.html"), "earlier");
}

const std::vector<std::string> TO_FILE = {"report", "in.json", "-o", "out.html"};

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusedReport,
    testing::ValuesIn<RefusedRow>({
        {"no_json", TO_FILE, "{\n\"items\": [}", "in.json:2: not JSON: expected a value"},
        {"results_of_a_batch", TO_FILE, "{\"id\":1,\"items\":[]}\n{\"id\":2,\"items\":[]}\n",
         "in.json:2: expected one result document, got several; give one line of a batch"},
        {"no_result", TO_FILE, "[1]", "in.json:1: expected a result document: an object with \"items\", got an array"},
        {"no_items", TO_FILE, "{}", "in.json:1: field \"items\": expected an array, got nothing"},
        {"matches", TO_FILE, "{\"matches\":[]}",
         "in.json:1: expected a result document, got matches; make one of them with \"quillmere enrich\""},
        {"field", TO_FILE, "{\"items\":[{\"title\":\"\",\"direct_url\":\"\"},\n{\"title\":7}]}",
         "in.json:2: item 2: field \"title\": expected text, got a number"},
        {"member", TO_FILE, "{\"items\":[{\"title\":\"\",\"direct_url\":\"\",\"page_type\":\"shop\"}]}",
         "in.json:1: item 1: field \"page_type\": expected product, marketplace, article, portfolio, social or "
         "uncategorized, got text"},
        {"summary", TO_FILE, "{\"items\":[],\"summary\":{\"total_matches\":\"x\"}}",
         "in.json:1: field \"summary.total_matches\": expected a whole number, got text"},
        {"no_file",
         {"report", "none.json"},
         "",
         "none.json: cannot read: No such file or directory; give the name of a file, or \"-\" for standard input"},
        {"two_outputs", {"report", "in.json", "-o", "a", "-o", "b"}, "", "--output: given 2 times; give it once"},
        {"named_for_another_format",
         {"report", "in.json", "-o", "./in.json"},
         "{}",
         "--output: expected a file that ends in .html, got \"./in.json\"; \"quillmere enrich\" writes json"},
        {"directory", {"report", "in.json", "-o", "/"}, "", "/: cannot write: Is a directory; name a file in it", 1},
        {"images_of_no_page",
         {"enrich", "in.json", "-o", "out.json", "--images", "embed"},
         "[]",
         "--images: only an HTML page has images; write one with --output FILE.html"},
        {"images_from_given_pages",
         {"enrich", "in.json", "-o", "out.html", "--images", "embed", "--pages", "in.json"},
         "[]",
         "--images embed fetches, but with --pages nothing is fetched; write JSON, and the page from it with "
         "\"quillmere report --images embed\""},
    }),
    row_name);

}  // namespace
}  // namespace quillmere::tests
