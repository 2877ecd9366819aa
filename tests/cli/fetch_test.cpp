#include <chrono>
#include <signal.h>
#include <thread>

#include "tests/cli/run_tool.hpp"
#include "tests/support/loopback_server.hpp"
#include <gtest/gtest.h>

// The tool and the network: real pages from loopback.
namespace quillmere::tests {
namespace {

using namespace std::chrono_literals;
using namespace quillmere::testing;

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

TEST_F(Fetch, SavesPagesForAnotherRun) {
  workspace.write("matches.json", "[" + match(server.url("/a")) + "," + match(server.url("/a")) + "," +
                                      match(server.url("/b")) + "," + match(server.url("/empty")) + "]");
  const ToolResult fetched =
      run_tool({"enrich", "matches.json", "--allow-private-networks", "-f", "csv", "--save-pages", "pages.jsonl"}, "",
               workspace);
  EXPECT_EQ(without_time(fetched.errors), "4 matches, 2 pages (1 empty), 3 priced, T s\n");
  EXPECT_EQ(fetched.status, 0);
  const ToolResult again = run_tool({"enrich", "matches.json", "--pages", "pages.jsonl", "-f", "csv"}, "", workspace);
  EXPECT_EQ(again.output, fetched.output);
  EXPECT_EQ(without_time(again.errors), "4 matches, 2 pages (1 not given), 3 priced, T s\n");
}

TEST_F(Fetch, CountsWhyPagesAreAbsent) {
  server.on("/large", silent("HTTP/1.1 200 OK\r\nContent-Length: 10000000000\r\n\r\n"));
  server.on("/headers", raw("HTTP/1.1 200 OK\r\nA: " + std::string(300'000, 'x')));
  server.on("/broken", raw(""));
  server.on("/ssh", raw("SSH-2.0-server\r\n"));
  server.on("/gzip", answer(200, "plain", {{"Content-Encoding", "gzip"}}));
  server.on("/loop", redirect("/loop"));
  server.on("/ftp", redirect("ftp://shop.test/"));
  LoopbackServer mail;
  mail.greet("220 mail.test\r\n");
  std::string searches;
  for (const std::string& link :
       {server.url("/a"), server.url("/silent"), std::string("http://127.0.0.1:22/"), server.url("/large"),
        server.url("/headers"), server.url("/empty"), "http://" + std::string(64, 'a') + ".test/",
        std::string("http://127.0.0.1:2/"), server.url("/broken"), "https" + mail.url("/").substr(4),
        server.url("/ssh"), server.url("/gzip"), server.url("/loop"), std::string("mailto:a@b.test"),
        server.url("/ftp")}) {
    searches += match(link) + "\n";
  }
  const ToolResult result = run_tool({"enrich", "--allow-private-networks", "--timeout", "1"}, searches, workspace);
  EXPECT_EQ(without_time(result.errors),
            "15 matches, 1 page (1 timed out, 1 refused port, 2 too large, 1 empty, 1 unknown host, 1 unreachable, "
            "1 broken off, 1 untrusted connection, 1 not HTTP, 1 badly encoded, 1 redirected too often, "
            "2 no web addresses), 1 priced, T s\n");
  EXPECT_EQ(result.status, 0);
}

TEST_F(Fetch, RefusesPrivateNetworksUnlessAllowed) {
  const ToolResult result = run_tool({"enrich", "-f", "csv"}, match(server.url("/a")), workspace);
  EXPECT_EQ(without_time(result.errors), "1 match, 0 pages (1 refused address), 0 priced, T s\n");
  EXPECT_EQ(server.connections(), 0);
}

TEST_F(Fetch, AnInterruptEndsItAtOnceAndLeavesNothing) {
  Tool tool(
      {"enrich", "--allow-private-networks", "--timeout", "3600", "-o", "out.json", "--save-pages", "pages.jsonl"},
      workspace.path());
  tool.write(match(server.url("/silent")));
  tool.close_input();
  while (server.paths().empty()) std::this_thread::sleep_for(1ms);
  const auto start = std::chrono::steady_clock::now();
  tool.send(SIGINT);
  EXPECT_EQ(tool.finish(), (ToolResult{"", "", 130}));
  EXPECT_LT(std::chrono::steady_clock::now() - start, 200ms);
  EXPECT_TRUE(workspace.names().empty());
}

// Pages arrive in any order; their places are those of the input.
TEST_F(Fetch, GivesTheSameWithAnyNumberOfWorkers) {
  server.on("/p", [](::quillmere::testing::Exchange& exchange) {
    exchange.wait(std::chrono::milliseconds(exchange.path.back() * 7 % 10));
    answer(200, product_page("Shoe " + exchange.path))(exchange);
  });
  std::string searches;
  for (int i = 0; i < 60; ++i) searches += match(server.url("/p?n=" + std::to_string(i))) + "\n";
  std::vector<std::string> outputs;
  for (const char* workers : {"1", "8", "32"}) {
    outputs.push_back(
        run_tool({"enrich", "--allow-private-networks", "--max-workers", workers, "--quiet"}, searches, workspace)
            .output);
  }
  EXPECT_NE(outputs[0].find("Shoe /p?n=59"), std::string::npos);
  EXPECT_EQ(outputs[1], outputs[0]);
  EXPECT_EQ(outputs[2], outputs[0]);
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
  EXPECT_TRUE(result.errors.starts_with("\r0/1 pages\x1b[K\r")) << result;
  EXPECT_EQ(run_tool({"enrich", "--allow-private-networks", "--quiet"}, match(server.url("/a")), workspace).errors, "");
}

}  // namespace
}  // namespace quillmere::tests
