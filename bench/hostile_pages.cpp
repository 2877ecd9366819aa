// Reading hostile pages: how the time grows with the page, and against ordinary pages of as many bytes.
//
//   hostile_pages [DIR] [MIB...]    ordinary pages are DIR/*.html, by default made-up shop pages; sizes to read,
//                                   ascending, by default 1 2 4 16
//
// Each figure is the least processor time of 21 readings, 5 of the largest pages, by
// DestinationMetadataParser::parse_metadata, in milliseconds; the sizes take turns. Behind the times: how many times as
// long 4 MiB takes as 1 MiB, 16 MiB as 1 MiB, the dearest doubling from 1 to 2 to 4, the most milliseconds per MiB, and
// the most times as long as as many bytes of ordinary pages.

#include "tests/support/hostile_pages.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "bench/measure.hpp"
#include "bench/synthetic_pages.hpp"

#include "quillmere/commerce/destination_metadata_parser.hpp"

namespace {

using quillmere::bench::seconds_of;
using quillmere::bench::SyntheticPages;
using quillmere::commerce::DestinationMetadataParser;

constexpr std::size_t MIB = 1 << 20;

/// By size in MiB, least milliseconds.
using Times = std::map<std::size_t, double>;

double milliseconds(const std::string& page) {
  std::size_t read = 0;
  const double seconds = seconds_of(
      [&] { read = DestinationMetadataParser::parse_metadata(page, "https://shop.example/x", "Shoe").title.size(); });
  if (read == 0) std::abort();  // keeps the reading in use
  return seconds * 1e3;
}

Times least_times(const quillmere::hostile::Kind& kind, const std::vector<std::size_t>& sizes) {
  std::map<std::size_t, std::string> pages;
  Times least;
  for (const std::size_t size : sizes) {
    pages[size] = kind.page(size * MIB);
    least[size] = milliseconds(pages[size]);
  }
  for (int round = 0; round < 20; ++round) {
    for (const auto& [size, page] : pages) {
      if (size < 6 || round < 4) least[size] = std::min(least[size], milliseconds(page));
    }
  }
  return least;
}

double milliseconds_per_mib(const std::vector<std::string>& pages) {
  double sum = 0;
  for (const std::string& page : pages) {
    double least = milliseconds(page);
    for (int round = 0; round < 20; ++round) least = std::min(least, milliseconds(page));
    sum += least;
  }
  return sum * static_cast<double>(MIB) / static_cast<double>(quillmere::bench::bytes_of(pages));
}

double ratio(const Times& times, std::size_t larger, std::size_t smaller) {
  const auto above = times.find(larger);
  const auto below = times.find(smaller);
  return above == times.end() || below == times.end() ? 0 : above->second / below->second;
}

struct Worst {
  const char* title;
  double bar;
  double value = 0;
  std::string kind = {};

  void note(double seen, const char* name) {
    if (seen > value) value = seen, kind = name;
  }
};

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::size_t> sizes;
  std::vector<std::string> ordinary;
  for (int i = 1; i < argc; ++i) {
    if (std::filesystem::is_directory(argv[i])) {
      ordinary = quillmere::bench::pages_of(argv[i]);
    } else {
      sizes.push_back(std::strtoul(argv[i], nullptr, 10));
    }
  }
  if (sizes.empty()) sizes = {1, 2, 4, 16};
  if (ordinary.empty()) ordinary = SyntheticPages::shops(40);

  const double ordinary_per_mib = milliseconds_per_mib(ordinary);
  std::printf("ordinary pages: %.3f ms/MiB\n%-36s", ordinary_per_mib, "kind, ms at MiB");
  for (const std::size_t size : sizes) std::printf(" %8zu", size);
  std::printf("     4/1   16/1  doubling  ms/MiB  x ordinary\n");

  Worst four{"4 MiB / 1 MiB", 5};
  Worst sixteen{"16 MiB / 1 MiB", 24};
  Worst doubling{"doubling", 2.3};
  Worst density{"ms per MiB", 50};
  Worst against_ordinary{"times ordinary pages", 40};
  for (const auto& kind : quillmere::hostile::KINDS) {
    const Times times = least_times(kind, sizes);
    double per_mib = 0;
    std::printf("%-36s", kind.name);
    for (const auto& [size, time] : times) {
      std::printf(" %8.2f", time);
      per_mib = std::max(per_mib, time / static_cast<double>(size));
    }
    const double step = std::max(ratio(times, 2, 1), ratio(times, 4, 2));
    std::printf(" %7.2f %6.1f %9.2f %7.2f %7.1f\n", ratio(times, 4, 1), ratio(times, 16, 1), step, per_mib,
                per_mib / ordinary_per_mib);
    four.note(ratio(times, 4, 1), kind.name);
    sixteen.note(ratio(times, 16, 1), kind.name);
    doubling.note(step, kind.name);
    density.note(per_mib, kind.name);
    against_ordinary.note(per_mib / ordinary_per_mib, kind.name);
  }
  std::printf("\n%zu kinds; the worst, and what it should stay below\n", quillmere::hostile::KINDS.size());
  for (const Worst& worst : {four, sixteen, doubling, density, against_ordinary}) {
    std::printf("  %-20s %7.2f  < %4.1f  %-6s %s\n", worst.title, worst.value, worst.bar,
                worst.value < worst.bar ? "" : "MISSED", worst.kind.c_str());
  }
}
