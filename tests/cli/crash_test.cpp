// Files while everything breaks: each call that fails, a full disk, the process killed at any point.

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <random>
#include <signal.h>

#include "tests/cli/run_tool.hpp"
#include <gtest/gtest.h>

namespace quillmere::tests {
namespace {

#ifdef QUILLMERE_SANITIZED
constexpr int KILLS = 20;
#else
constexpr int KILLS = 200;
#endif

const std::vector<std::string> EXPORTS = {"a.json", "b.csv", "c.jsonl"};
constexpr int CALLS_OF_AN_EXPORT = 4;  // write, fsync, rename, and fsync of the directory

/// While one exists, the tool's calls on files go wrong as file_faults.cpp tells.
class FileFault {
 public:
  FileFault(int number, const std::string& way, unsigned long argument) {
    ::setenv("LD_PRELOAD", QUILLMERE_FILE_FAULTS, 1);
    ::setenv("FILE_FAULT", (std::to_string(number) + " " + way + " " + std::to_string(argument)).c_str(), 1);
  }
  FileFault(const FileFault&) = delete;
  FileFault& operator=(const FileFault&) = delete;
  ~FileFault() {
    ::unsetenv("LD_PRELOAD");
    ::unsetenv("FILE_FAULT");
  }
};

class Exports : public ::testing::Test {
 protected:
  Exports() {
    workspace.write("in.json", R"([{"link":"https://shop.test/p","title":"Fünf Schuhe","price":"5 €"}])");
    EXPECT_EQ(run(), (ToolResult{"", "", 0}));
    for (const std::string& name : EXPORTS) whole.push_back(workspace.read(name));
  }

  [[nodiscard]] ToolResult run() const {
    std::vector<std::string> arguments = {"enrich", "in.json", "--pages", "/dev/null", "--quiet"};
    for (const std::string& name : EXPORTS) arguments.insert(arguments.end(), {"-o", name});
    return run_tool(arguments, "", workspace);
  }

  void restore() const {
    for (const std::string& name : EXPORTS) workspace.write(name, "earlier");
  }

  /// How many of the exports are new; each is old or new.
  [[nodiscard]] int count_new() const {
    int count = 0;
    for (std::size_t i = 0; i < EXPORTS.size(); ++i) {
      const std::string text = workspace.read(EXPORTS[i]);
      EXPECT_TRUE(text == "earlier" || text == whole[i]) << EXPORTS[i] << ": " << text;
      count += text == whole[i];
    }
    return count;
  }

  Workspace workspace;
  std::vector<std::string> whole;
};

TEST_F(Exports, OneFailedCallCostsOneFile) {
  const int calls = CALLS_OF_AN_EXPORT * static_cast<int>(EXPORTS.size());
  for (int number = 1; number <= calls + 1; ++number) {
    const bool is_harmless = number % CALLS_OF_AN_EXPORT == 0 || number > calls;
    restore();
    const FileFault fault(number, "fails", EIO);
    const ToolResult result = run();
    const std::string& name = EXPORTS[static_cast<std::size_t>((number - 1) / CALLS_OF_AN_EXPORT) % EXPORTS.size()];
    const std::string error = "quillmere: " + name + ": cannot write: Input/output error\n";
    EXPECT_EQ(result, (ToolResult{"", is_harmless ? "" : error, is_harmless ? 0 : 1})) << number;
    EXPECT_EQ(count_new(), is_harmless ? 3 : 2) << number;
    EXPECT_EQ(workspace.names().size(), 4U) << number;
  }
}

TEST_F(Exports, AFullDiskLeavesTheEarlierFiles) {
  for (int number = 1; number <= CALLS_OF_AN_EXPORT * static_cast<int>(EXPORTS.size()); ++number) {
    restore();
    const FileFault fault(number, "full", ENOSPC);
    const ToolResult result = run();
    const int written = number / CALLS_OF_AN_EXPORT;
    EXPECT_EQ(count_new(), written) << number;
    EXPECT_EQ(result.status, written == 3 ? 0 : 1) << number;
    EXPECT_EQ(result.errors.find("cannot write: No space left on device") != std::string::npos, written < 3) << number;
    EXPECT_EQ(workspace.names().size(), 4U) << number;
  }
}

TEST_F(Exports, AreOldOrNewWhereverTheProcessIsKilled) {
  std::mt19937 random(1);
  for (int kill = 0; kill < KILLS; ++kill) {
    restore();
    const int number = 1 + static_cast<int>(random() % (CALLS_OF_AN_EXPORT * EXPORTS.size()));
    {
      const FileFault fault(number, "kills", random());
      EXPECT_EQ(run().status, 128 + SIGKILL);
    }
    EXPECT_EQ(count_new(), number / CALLS_OF_AN_EXPORT) << number;
  }
  EXPECT_EQ(run(), (ToolResult{"", "", 0}));
  EXPECT_EQ(count_new(), 3);
}

class BatchFile : public ::testing::Test {
 protected:
  BatchFile() {
    std::string searches;
    for (int i = 0; i < 12; ++i) {
      searches +=
          R"({"id":"Größe )" + std::to_string(i) + R"(","matches":[{"link":"https://shop.test/p","title":"€"}]})";
      searches += '\n';
    }
    workspace.write("in.jsonl", searches);
    EXPECT_EQ(run(false), (ToolResult{"", "", 0}));
    whole = workspace.read("out.jsonl");
  }

  [[nodiscard]] ToolResult run(bool resume) const {
    std::vector<std::string> arguments = {"batch", "in.jsonl", "-o",        "out.jsonl", "--jobs",
                                          "2",     "--pages",  "/dev/null", "--quiet"};
    if (resume) arguments.emplace_back("--resume");
    return run_tool(arguments, "", workspace);
  }

  Workspace workspace;
  std::string whole;
};

// What a crash of the whole machine may add are NULs, where the length of a file was on disk before its end.
TEST_F(BatchFile, GoesOnWhereverItWasKilled) {
  std::mt19937 random(1);
  bool resume = false;
  for (int kills = 0; kills < KILLS; ++kills) {
    {
      const FileFault fault(1 + static_cast<int>(random() % 6), "kills", random());
      const ToolResult result = run(resume);
      if (result.status == 0) {
        EXPECT_EQ(workspace.read("out.jsonl"), whole);
        resume = false;
        continue;
      }
      EXPECT_EQ(result, (ToolResult{"", "", 128 + SIGKILL}));
    }
    resume = true;
    if (random() % 2 == 0) {
      std::ofstream(workspace.path() / "out.jsonl", std::ios::app) << std::string(random() % 5000, '\0');
    }
  }
  EXPECT_EQ(run(resume), (ToolResult{"", "", 0}));
  EXPECT_EQ(workspace.read("out.jsonl"), whole);
}

TEST_F(BatchFile, GoesOnAfterEachFailedCall) {
  for (const auto& [way, error, text] :
       {std::tuple{"fails", EIO, "Input/output error"},
        {"full", ENOSPC, "No space left on device; free some space or name another place"}}) {
    for (int number = 1; number <= 13; ++number) {
      {
        const FileFault fault(number, way, static_cast<unsigned long>(error));
        EXPECT_EQ(run(false), (ToolResult{"", std::string("quillmere: out.jsonl: cannot write: ") + text + "\n", 1}));
      }
      EXPECT_TRUE(whole.starts_with(workspace.read("out.jsonl"))) << number;
      EXPECT_EQ(run(true), (ToolResult{"", "", 0}));
      EXPECT_EQ(workspace.read("out.jsonl"), whole) << number;
    }
  }
}

}  // namespace
}  // namespace quillmere::tests
