// Product facts by this library, for bench/peers/run.
//
//   quillmere_peer DIR    for each line on standard input: one pass over the pages of the directory, and its processor
//                         seconds and counts

#include <array>
#include <cstdio>
#include <iostream>
#include <string>

#include "bench/measure.hpp"

#include "quillmere/commerce/destination_metadata_parser.hpp"

namespace {

using namespace quillmere;

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
