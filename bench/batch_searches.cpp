// The tool on many searches: does `quillmere batch` stay flat in memory, and what does a second job bring?
//
//   batch_searches TOOL
//
// Searches carry their pages inline, so that nothing is fetched. One job, two jobs, and two processes of one job each
// at once take turns in each of 7 rounds; a ratio is the median of the rounds' own ratios, of wall time. What two
// processes bring, which share nothing, is what the machine can give at that moment.

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/child.hpp"
#include "bench/measure.hpp"
#include "bench/synthetic_pages.hpp"
#include <nlohmann/json.hpp>

namespace {

using namespace quillmere;

constexpr int ROUNDS = 7;
constexpr int MATCHES = 4;
constexpr int DISTINCT = 8;
constexpr std::size_t PAGE_SIZE = 25'000;
const std::string FEW = "/tmp/quillmere-bench-200-searches.jsonl";
const std::string MANY = "/tmp/quillmere-bench-2000-searches.jsonl";

/// One search with the beginnings of its pages, as an input line without the id that it begins with.
std::string search_tail(int number, const std::vector<std::string>& shops) {
  nlohmann::ordered_json matches = nlohmann::ordered_json::array();
  nlohmann::ordered_json pages;
  for (int i = 0; i < MATCHES; ++i) {
    const int page = number * MATCHES + i;
    const std::string url = "https://shop.example/products/" + std::to_string(page);
    matches.push_back({{"link", url}, {"title", "Red shoe"}, {"price", "59,90 €"}});
    pages[url] = shops[static_cast<std::size_t>(page)].substr(0, PAGE_SIZE);
  }
  return R"(,"matches":)" + matches.dump() + R"(,"pages":)" +
         pages.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "}\n";
}

/// Writes the input in a process of its own: what this one holds would count for the tool that it starts.
void write_searches(const std::string& path, int count) {
  const pid_t writer = fork();
  if (writer != 0) {
    waitpid(writer, nullptr, 0);
    return;
  }
  std::vector<std::string> tails;
  const std::vector<std::string> shops = bench::SyntheticPages::shops(DISTINCT * MATCHES);
  for (int i = 0; i < DISTINCT; ++i) tails.push_back(search_tail(i, shops));
  std::ofstream out(path, std::ios::binary);
  for (int i = 0; i < count; ++i) out << R"({"id":)" << i << tails[static_cast<std::size_t>(i % DISTINCT)];
  out.close();
  _exit(0);
}

bench::ChildRun run_batch(const std::string& tool, const std::string& input, const char* jobs) {
  const bench::ChildRun run = bench::run_child({tool, "batch", input, "--quiet", "--jobs", jobs});
  if (!run.succeeded) std::printf("batch %s --jobs %s failed\n", input.c_str(), jobs);
  return run;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: batch_searches TOOL\n");
    return 2;
  }
  write_searches(FEW, 200);
  write_searches(MANY, 2'000);
  for (const char* jobs : {"1", "2"}) {
    const long few = run_batch(argv[1], FEW, jobs).peak_kilobytes;
    const long many = run_batch(argv[1], MANY, jobs).peak_kilobytes;
    std::printf("--jobs %s: peak %ld KB over 200 searches, %ld KB over 2,000: %.3fx (to be at most 1.10)\n", jobs, few,
                many, static_cast<double>(many) / static_cast<double>(few));
  }
  std::vector<double> one;
  std::vector<double> two;
  std::vector<double> ratios;
  std::vector<double> ceilings;
  for (int round = 0; round < ROUNDS; ++round) {
    one.push_back(run_batch(argv[1], MANY, "1").wall_seconds);
    two.push_back(run_batch(argv[1], MANY, "2").wall_seconds);
    ratios.push_back(one.back() / two.back());
    const auto start = std::chrono::steady_clock::now();
    std::thread other([&] { run_batch(argv[1], MANY, "1"); });
    run_batch(argv[1], MANY, "1");
    other.join();
    const std::chrono::duration<double> both = std::chrono::steady_clock::now() - start;
    ceilings.push_back(2 * one.back() / both.count());
  }
  std::printf("2,000 searches of %d pages: %.3f s with --jobs 1, %.3f s with --jobs 2: %.2fx (to be at least 1.7)\n",
              MATCHES, bench::median(one), bench::median(two), bench::median(ratios));
  std::printf("two processes at once: %.2fx\n", bench::median(ceilings));
  std::remove(FEW.c_str());
  std::remove(MANY.c_str());
}
