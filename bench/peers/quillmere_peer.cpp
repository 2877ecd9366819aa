// Product facts by this library, for bench/peers/run.
//
//   quillmere_peer DIR           for each line on standard input: one pass over the pages of the directory, and its
//                                processor seconds and counts
//   quillmere_peer --write DIR   writes made-up pages: DIR/shops and DIR/articles

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "bench/measure.hpp"
#include "bench/synthetic_pages.hpp"

#include "quillmere/commerce/destination_metadata_parser.hpp"

namespace {

using namespace quillmere;

void write(const std::filesystem::path& directory, const std::vector<std::string>& pages) {
  std::filesystem::create_directories(directory);
  for (std::size_t i = 0; i < pages.size(); ++i) {
    std::ofstream(directory / (std::to_string(1000 + i) + ".html"), std::ios::binary) << pages[i];
  }
}

void count(const commerce::PageMetadata& page, std::array<int, 7>& counts) {
  counts[0] += page.title != "?";
  counts[1] += page.brand.has_value();
  counts[2] += page.price.has_value();
  counts[3] += page.price.has_value();
  counts[4] += page.stock_status.has_value();
  counts[5] += page.primary_image_url.has_value();
  counts[6] += page.sku.has_value();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::strcmp(argv[1], "--write") == 0) {
    write(std::filesystem::path(argv[2]) / "shops", bench::SyntheticPages::shops(40));
    write(std::filesystem::path(argv[2]) / "articles", bench::SyntheticPages::articles(40));
    return 0;
  }
  if (argc != 2) return 2;
  const std::vector<std::string> pages = bench::pages_of(argv[1]);
  for (std::string line; std::getline(std::cin, line);) {
    std::array<int, 7> counts{};
    const double seconds = bench::seconds_of([&] {
      for (const std::string& page : pages) {
        count(commerce::DestinationMetadataParser::parse_metadata(page, "https://shop.example/item", "?"), counts);
      }
    });
    std::printf("%.9f ", seconds);
    for (std::size_t i = 0; i < counts.size(); ++i) std::printf("%s%d", i == 0 ? "" : "/", counts[i]);
    std::printf("\n");
    std::fflush(stdout);
  }
}
