#include <fstream>
#include <signal.h>

#include "tests/cli/run_tool.hpp"
#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

namespace quillmere::tests {
namespace {

std::string search(const std::string& id, const std::string& more = "") {
  return R"({"id":)" + id + R"(,"matches":[{"link":"https://shop.example/p","title":"Item Number 1"}])" + more + "}";
}

std::string result(const std::string& id, const std::string& title = "Item Number 1") {
  return R"({"id":)" + id + R"(,"summary":{"total_matches":1,"currency":"USD","total_priced_matches":0},"items":[)" +
         R"({"title":")" + title +
         R"(","direct_url":"https://shop.example/p","original_url":"https://shop.example/p",)" +
         R"("merchant_name":"shop.example","match_score":98,"page_type":"uncategorized","relevance":"medium"}]})" +
         "\n";
}

std::string failure(const std::string& id, int line, const std::string& error) {
  return R"({"id":)" + id + R"(,"error":"line )" + std::to_string(line) + ": " + error + "\"}\n";
}

struct SearchRow {
  const char* name;
  std::string input;
  std::string output;
};

class Batch : public testing::TestWithParam<SearchRow> {};

TEST_P(Batch, GivesOneLineForEachSearch) {
  const Workspace workspace;
  for (const char* jobs : {"1", "3"}) {
    const ToolResult ran =
        run_tool({"batch", "--pages", "/dev/null", "--quiet", "--jobs", jobs}, GetParam().input, workspace);
    EXPECT_EQ(ran, (ToolResult{GetParam().output, "", 0})) << jobs;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Batch,
    testing::ValuesIn<SearchRow>({
        {"no_searches", "\n", ""},
        {"in_order", search("1") + "\n\n" + search("\"b\"") + "\r\n" + search("null") + "\n" + search("[{}]"),
         result("1") + result("\"b\"") + result("null") + result("[{}]")},
        {"id_stands_as_written", search("12345678901234567890.10") + "\n" + search("\"a\tb\\u00e9\""),
         result("12345678901234567890.10") + result("\"a\\u0009b\\u00e9\"")},
        {"no_id", R"({"visual_matches":[]})",
         R"({"id":null,"summary":{"total_matches":0,"currency":"USD","total_priced_matches":0},"items":[]})"
         "\n"},
        {"bad_lines_cost_themselves",
         "{\"id\":1\n5\n{\"id\":2}\n{\"id\":3,\"matches\":[{\"link\":\"x\",\"title\":\"y\"},{\"link\":\"x\"}]}\n"
         "{\"id\":4,\"matches\":[{\"link\":\"http://[x\",\"title\":\"y\"}]}\n{\"id\":5,\"matches\":7}\n" +
             search("6"),
         failure("null", 1, "not JSON: expected ',' or '}' after a member") +
             failure("null", 2, "expected a search object, got a number") +
             failure("2", 3, R"(field \"matches\": expected an array, got nothing)") +
             failure("3", 4, R"(match 2: field \"title\": expected text, got nothing)") +
             failure("4", 5, R"(network location \"[x\": \"[\" without \"]\")") +
             failure("5", 6, R"(field \"matches\": expected an array, got a number)") + result("6")},
        {"own_pages",
         search(
             "1",
             R"(,"pages":{"https://shop.example/p":"<script type='application/ld+json'>{\"@type\":\"Product\",\"name\":\"Fine Item 2\"}</script>)" +
                 std::string(200, '.') + "\"}") +
             "\n" + search("2", R"(,"pages":{"https://shop.example/p":null,"https://shop.example/q":"x"})") + "\n" +
             search("3", R"(,"pages":[])") + "\n" + search("4", R"(,"pages":{"u":5})"),
         R"({"id":1,"summary":{"total_matches":1,"currency":"USD","total_priced_matches":0},"items":[{"title":"Fine Item 2",)"
         R"("direct_url":"https://shop.example/p","original_url":"https://shop.example/p","merchant_name":"shop.example",)"
         R"("merchant_category":"official_brand","match_score":98,"page_type":"product","relevance":"high"}]})"
         "\n" +
             result("2") +
             failure("3", 3, R"(field \"pages\": expected an object of page texts by URL, got an array)") +
             failure("4", 4, R"(field \"pages.u\": expected text or null, got a number)")},
    }),
    row_name);

struct ResumeRow {
  const char* name;
  std::string before;
  std::string after;
  std::string errors;
  int status;
};

class Resume : public testing::TestWithParam<ResumeRow> {};

TEST_P(Resume, GoesOnBehindWhatIsThere) {
  const Workspace workspace;
  workspace.write("in.jsonl", search("1") + "\n" + search("2") + "\n" + search("3") + "\n");
  workspace.write("out.jsonl", GetParam().before);
  const ToolResult ran =
      run_tool({"batch", "in.jsonl", "-o", "out.jsonl", "--resume", "--pages", "/dev/null"}, "", workspace);
  EXPECT_EQ(without_time(ran.errors), GetParam().errors);
  EXPECT_EQ(ran.status, GetParam().status);
  EXPECT_EQ(workspace.read("out.jsonl"), GetParam().after);
}

const std::string ALL = result("1") + result("2") + result("3");

INSTANTIATE_TEST_SUITE_P(
    Rows, Resume,
    testing::ValuesIn<ResumeRow>({
        {"empty", "", ALL, "3 searches, 3 matches, 0 pages (3 not given), 0 priced, T s\n", 0},
        {"whole_lines", result("1") + result("2"), ALL,
         "3 searches (2 kept), 1 match, 0 pages (1 not given), 0 priced, T s\n", 0},
        {"torn_line", result("1") + result("2").substr(0, 50), ALL,
         "3 searches (1 kept), 2 matches, 0 pages (2 not given), 0 priced, T s\n", 0},
        {"half_a_character", result("1") + R"({"id":"Gr)" + "\xC3", ALL,
         "3 searches (1 kept), 2 matches, 0 pages (2 not given), 0 priced, T s\n", 0},
        {"nul_tail", result("1") + result("2").substr(0, 50) + std::string(5000, '\0'), ALL,
         "3 searches (1 kept), 2 matches, 0 pages (2 not given), 0 priced, T s\n", 0},
        {"line_without_its_end", result("1").substr(0, result("1").size() - 1), ALL,
         "3 searches, 3 matches, 0 pages (3 not given), 0 priced, T s\n", 0},
        {"all_there", ALL, ALL, "3 searches (3 kept), 0 matches, 0 pages, 0 priced, T s\n", 0},
        {"errors_are_results", "{\"id\":1,\"error\":\"x\"}\n",
         "{\"id\":1,\"error\":\"x\"}\n" + result("2") + result("3"),
         "3 searches (1 kept), 2 matches, 0 pages (2 not given), 0 priced, T s\n", 0},
        {"other_ids", result("1") + result("\"2\"") + "torn", result("1") + result("\"2\"") + "torn",
         "quillmere: out.jsonl:2: expected the id 2 of line 2 of in.jsonl, got \"2\"; resume with the input it came "
         "from\n",
         2},
        {"more_lines_than_searches", ALL + result("4"), ALL + result("4"),
         "quillmere: out.jsonl:4: the input has no search for this line; resume with the input it came from\n", 2},
        {"not_results", "hello\n", "hello\n", "quillmere: out.jsonl:1: expected a result of a search; cannot resume\n",
         2},
    }),
    row_name);

TEST(BatchRun, RefusesWhatCannotWork) {
  const Workspace workspace;
  workspace.write("in.jsonl", search("1"));
  const auto error = [&](const std::vector<std::string>& arguments) {
    const ToolResult ran = run_tool(arguments, "", workspace);
    EXPECT_EQ(ran.status, 2);
    return ran.errors;
  };
  EXPECT_EQ(error({"batch", "in.jsonl", "-o", "./in.jsonl"}),
            "quillmere: --output: \"./in.jsonl\" is also read; write to another file\n");
  EXPECT_EQ(error({"batch", "in.jsonl", "-o", "a", "-o", "b"}), "quillmere: --output: given 2 times; give it once\n");
  EXPECT_EQ(error({"batch", "in.jsonl", "--resume"}),
            "quillmere: --resume goes on behind what a file holds; name it with --output FILE\n");
  EXPECT_EQ(error({"batch", "in.jsonl", "--resume", "-o", "/dev/null"}),
            "quillmere: /dev/null: expected a regular file to resume, got something else\n");
  EXPECT_EQ(error({"batch", "--jobs", "0"}), "quillmere: --jobs: expected a whole number from 1 to 256, got \"0\"\n");
  EXPECT_EQ(workspace.names(), (std::vector<std::string>{"in.jsonl"}));
}

TEST(BatchRun, KeepsAnEarlierFileUntilThereIsALine) {
  const Workspace workspace;
  workspace.write("out.jsonl", "earlier");
  EXPECT_EQ(run_tool({"batch", "no.jsonl", "-o", "out.jsonl"}, "", workspace).status, 2);
  EXPECT_EQ(workspace.read("out.jsonl"), "earlier");
  EXPECT_EQ(run_tool({"batch", "-o", "out.jsonl", "--quiet"}, "", workspace), (ToolResult{"", "", 0}));
  EXPECT_EQ(workspace.read("out.jsonl"), "");
}

TEST(BatchRun, AnInterruptLeavesWholeLines) {
  const Workspace workspace;
  Tool tool({"batch", "-o", "out.jsonl", "--pages", "/dev/null", "--jobs", "2"}, workspace.path());
  tool.write(search("1") + "\n" + search("2") + "\n" + search("3"));
  while (workspace.read("out.jsonl") != result("1") + result("2")) {
  }
  tool.send(SIGINT);
  EXPECT_EQ(tool.finish(),
            (ToolResult{
                "", "quillmere: interrupted; the same command with --resume goes on behind what \"out.jsonl\" holds\n",
                130}));
  EXPECT_EQ(workspace.read("out.jsonl"), result("1") + result("2"));
}

TEST(BatchRun, ProgressGoesToStandardErrorWhenAsked) {
  const Workspace workspace;
  workspace.write("in.jsonl", search("1") + "\n");
  const ToolResult ran =
      run_tool({"batch", "in.jsonl", "--pages", "/dev/null", "--progress", "always", "--quiet"}, "", workspace);
  EXPECT_EQ(ran, (ToolResult{result("1"), "\r[########################################] 1 searches\x1b[K\r\x1b[K", 0}));
}

#ifndef QUILLMERE_SANITIZED  // a sanitizer keeps freed memory for a while
TEST(BatchRun, MemoryDoesNotGrowWithTheNumberOfSearches) {
  const Workspace workspace;
  const std::string line =
      search("1", R"(,"pages":{"https://shop.example/p":")" + std::string(30'000, '.') + "\"}") + "\n";
  const auto peak = [&](int searches) {
    {
      std::ofstream input(workspace.path() / "in.jsonl");  // not gathered here: a fork counts its parent's memory too
      for (int i = 0; i < searches; ++i) input << line;
    }
    Tool tool({"batch", "in.jsonl", "--quiet", "--jobs", "2", "-o", "out.jsonl"}, workspace.path());
    EXPECT_EQ(tool.finish(), (ToolResult{"", "", 0}));
    return tool.peak_kilobytes();
  };
  const long few = peak(200);
  EXPECT_LT(static_cast<double>(peak(2000)), static_cast<double>(few) * 1.1);
}
#endif

}  // namespace
}  // namespace quillmere::tests
