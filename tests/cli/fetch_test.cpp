#include <chrono>
#include <signal.h>

#include "tests/cli/run_tool.hpp"
#include "tests/support/loopback_server.hpp"
#include <gtest/gtest.h>

// The tool and the network: real pages from loopback.
namespace quillmere::tests {
namespace {

using ::quillmere::testing::answer;
using ::quillmere::testing::LoopbackServer;
using ::quillmere::testing::silent;

std::string match(const std::string& link) {
  return R"({"link":")" + link + R"(","title":"Item Number 1"})";
}

std::string product_page(const std::string& name) {
  return R"(<script type="application/ld+json">{"@type":"Product","name":")" + name +
         R"(","offers":{"price":5}}</script>)" + std::string(200, '.') + "\n\xC3\xA9";
}

class Fetch : public ::testing::Test {
 protected:
  Fetch() {
    server.on("/a", answer(200, product_page("Fine Shoe")));
    server.on("/b", answer(404, product_page("Old Shoe")));
    server.on("/empty", answer(200, ""));
    server.on("/silent", silent());
  }

  LoopbackServer server;
  Workspace workspace;
};

TEST_F(Fetch, CountsPagesByReasonAndSavesThem) {
  workspace.write("matches.json", "[" + match(server.url("/a")) + "," + match(server.url("/a")) + "," +
                                      match(server.url("/b")) + "," + match(server.url("/empty")) + "," +
                                      match(server.url("/silent")) + "," + match("ftp://x/") + "]");
  const ToolResult fetched = run_tool({"enrich", "matches.json", "--allow-private-networks", "--timeout", "1", "-f",
                                       "csv", "--save-pages", "pages.jsonl"},
                                      "", workspace);
  EXPECT_EQ(without_time(fetched.errors),
            "6 matches, 2 pages (1 timed out, 1 empty, 1 no web address), 3 priced, T s\n");
  EXPECT_EQ(fetched.status, 0);
  const ToolResult again = run_tool({"enrich", "matches.json", "--pages", "pages.jsonl", "-f", "csv"}, "", workspace);
  EXPECT_EQ(again.output, fetched.output);
  EXPECT_EQ(without_time(again.errors), "6 matches, 2 pages (3 not given), 3 priced, T s\n");
}

TEST_F(Fetch, RefusesPrivateNetworksUnlessAllowed) {
  const ToolResult result = run_tool({"enrich", "-f", "csv"}, match(server.url("/a")), workspace);
  EXPECT_EQ(without_time(result.errors), "1 match, 0 pages (1 refused address), 0 priced, T s\n");
  EXPECT_EQ(server.connections(), 0);
}

TEST_F(Fetch, AnInterruptEndsItAtOnceAndLeavesNothing) {
  Tool tool({"enrich", "--allow-private-networks", "-o", "out.json", "--save-pages", "pages.jsonl"}, workspace.path());
  tool.write(match(server.url("/silent")));
  tool.close_input();
  while (server.paths().empty()) {
  }
  const auto start = std::chrono::steady_clock::now();
  tool.send(SIGINT);
  EXPECT_EQ(tool.finish(), (ToolResult{"", "", 130}));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
  EXPECT_TRUE(workspace.names().empty());
}

TEST_F(Fetch, BatchKeepsItsConnections) {
  std::string searches;
  for (int i = 0; i < 20; ++i) searches += R"({"matches":[)" + match(server.url("/a")) + "]}\n";
  const ToolResult result = run_tool({"batch", "--allow-private-networks", "--jobs", "2"}, searches, workspace);
  EXPECT_EQ(without_time(result.errors), "20 searches, 20 matches, 20 pages, 20 priced, T s\n");
  EXPECT_LE(server.connections(), 2);
}

TEST_F(Fetch, ProgressCountsPages) {
  const ToolResult result = run_tool({"enrich", "--allow-private-networks", "--progress", "always", "--quiet"},
                                     match(server.url("/a")), workspace);
  EXPECT_EQ(result.errors.substr(0, 15), "\r0/1 pages\x1b[K\r\x1b[K");
  EXPECT_EQ(run_tool({"enrich", "--allow-private-networks", "--quiet"}, match(server.url("/a")), workspace).errors, "");
}

}  // namespace
}  // namespace quillmere::tests
