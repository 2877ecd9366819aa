#include <chrono>
#include <fcntl.h>
#include <signal.h>
#include <thread>
#include <unistd.h>

#include "tests/cli/run_tool.hpp"
#include <gtest/gtest.h>
#include <sys/stat.h>

// How the tool behaves as a process: pipes, full devices, interrupts.
namespace quillmere::tests {
namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

TEST(Process, AnswersEachLineOfAnInteractivePipe) {
  const Workspace workspace;
  Tool tool({"inspect", "url"}, workspace.path());
  for (const char* path : {"a", "b"}) {
    tool.write(std::string(R"({"url":")") + path + "\"}\n");
    EXPECT_EQ(tool.read_line(), std::string(R"({"direct_url":")") + path + R"(","domain":""})" + "\n");
  }
  tool.close_input();
  EXPECT_EQ(tool.finish(), (ToolResult{"", "", 0}));
}

TEST(Process, AClosedPipeEndsItQuietly) {
  const Workspace workspace;
  std::string lines;
  for (int i = 0; i < 20'000; ++i) lines += "{\"url\":\"https://shop.example/p\"}\n";
  workspace.write("input.jsonl", lines);
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"inspect", "url", "input.jsonl"}, {"--help"}, {"enrich", "--pages", "/dev/null"}}) {
    Tool tool(arguments, workspace.path());
    tool.close_output();
    tool.write(R"([{"link":"a","title":"b"}])");
    tool.close_input();
    EXPECT_EQ(tool.finish(), (ToolResult{"", "", 0})) << arguments.front();
  }
}

TEST(Process, AFullDeviceIsReported) {
  const Workspace workspace;
  ToolResult result;
  for (const char* command : {"--help", "inspect url", "enrich --pages /dev/null"}) {
    // A shell makes the redirection; the tool's own descriptors cannot be had otherwise.
    const std::string line = std::string("printf '{\"link\":\"a\",\"title\":\"b\"}\\n' | " QUILLMERE_TOOL " ") +
                             command + " > /dev/full 2> " + (workspace.path() / "errors").string();
    EXPECT_EQ(WEXITSTATUS(std::system(line.c_str())), 1) << command;
    EXPECT_EQ(workspace.read("errors"),
              "quillmere: standard output: cannot write: No space left on device; free some space or name "
              "another place\n")
        << command;
  }
}

TEST(Process, AnInterruptEndsItAtOnce) {
  const Workspace workspace;
  workspace.write("out.json", "earlier");
  for (const auto& [signal_number, status] : {std::pair{SIGINT, 130}, std::pair{SIGTERM, 143}}) {
    Tool tool({"enrich", "-o", "out.json"}, workspace.path());
    tool.write("[");
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // for it to be waiting for more
    const Clock::time_point start = Clock::now();
    tool.send(signal_number);
    EXPECT_EQ(tool.finish(), (ToolResult{"", "", status}));
    EXPECT_LT(seconds_since(start), 0.2);
  }
  EXPECT_EQ(workspace.read("out.json"), "earlier");
  EXPECT_EQ(workspace.names(), (std::vector<std::string>{"out.json"}));
}

TEST(Process, AnInterruptReachesAToolThatWaitsForTheReaderOfAPipe) {
  const Workspace workspace;
  ASSERT_EQ(::mkfifo((workspace.path() / "fifo.json").c_str(), 0600), 0);
  Tool tool({"enrich", "-o", "fifo.json", "--quiet"}, workspace.path());
  tool.write("[]");
  tool.close_input();
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  tool.send(SIGINT);
  EXPECT_EQ(tool.finish(), (ToolResult{"", "", 130}));
}

}  // namespace
}  // namespace quillmere::tests
