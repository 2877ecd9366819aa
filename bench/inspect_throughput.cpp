// The tool on many pages: `quillmere inspect page` over JSON Lines against Python's json.loads over the same lines.
//
//   inspect_throughput TOOL [DIR]    the DIR/*.html; without DIR, made-up shop pages
//
// Whole processes, start-up included, take turns in each of 7 rounds; a figure is the median of the rounds, a ratio the
// median of the rounds' own ratios, of processor time.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "bench/child.hpp"
#include "bench/measure.hpp"
#include "bench/synthetic_pages.hpp"
#include <nlohmann/json.hpp>

namespace {

using namespace quillmere;

constexpr int ROUNDS = 7;
constexpr std::size_t ENOUGH_BYTES = 96'000'000;
const std::string LINES = "/tmp/quillmere-bench-inspect.jsonl";

/// Writes the pages as the tool's input lines, over and over until they are enough; gives the number of lines.
std::size_t write_lines(const std::vector<std::string>& pages) {
  std::vector<std::string> lines;
  for (const std::string& page : pages) {
    const nlohmann::ordered_json line = {
        {"html", page}, {"direct_url", "https://shop.example/products/red-shoe"}, {"initial_title", "Red shoe"}};
    lines.push_back(line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
  }
  std::ofstream out(LINES, std::ios::binary);
  std::size_t count = 0;
  for (std::size_t bytes = 0; bytes < ENOUGH_BYTES; ++count) {
    const std::string& line = lines[count % lines.size()];
    out << line << '\n';
    bytes += line.size() + 1;
  }
  return count;
}

struct Rival {
  const char* name;
  std::vector<std::string> command;
  std::vector<double> seconds = {};
};

double median_ratio(const Rival& tool, const Rival& rival) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < tool.seconds.size(); ++i) ratios.push_back(tool.seconds[i] / rival.seconds[i]);
  return bench::median(ratios);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: inspect_throughput TOOL [DIR]\n");
    return 2;
  }
  const auto pages = argc > 2 ? bench::pages_of(argv[2]) : bench::SyntheticPages::shops(150);
  const std::size_t lines = write_lines(pages);
  std::vector<Rival> rivals = {
      {"quillmere inspect page", {argv[1], "inspect", "page", LINES}},
      {"python3 json.loads", {"python3", "-c", "import sys,json\nfor line in sys.stdin.buffer: json.loads(line)"}},
      {"wc -l", {"wc", "-l"}},
  };
  for (int round = 0; round < ROUNDS; ++round) {
    for (Rival& rival : rivals) {
      const auto run = bench::run_child(rival.command, LINES);
      if (!run.succeeded) std::printf("%s failed\n", rival.name);
      rival.seconds.push_back(run.processor_seconds);
    }
  }
  std::printf("%zu lines of %zu pages\n", lines, pages.size());
  for (const Rival& rival : rivals) {
    std::printf("  %-24s %7.3f s  %6.2fx json.loads\n", rival.name, bench::median(rival.seconds),
                median_ratio(rival, rivals[1]));
  }
  std::printf("  to be at most 0.35x json.loads\n");
  std::remove(LINES.c_str());
}
