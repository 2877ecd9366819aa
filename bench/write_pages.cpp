// Writes made-up pages as files, for scripts: DIR/shops, DIR/articles and DIR/hostile.
//
//   write_pages DIR

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "bench/synthetic_pages.hpp"
#include "tests/support/hostile_pages.hpp"

namespace {

using quillmere::bench::SyntheticPages;

constexpr std::size_t HOSTILE_BYTES = 100'000;

void write(const std::filesystem::path& directory, const std::string& name, const std::string& page) {
  std::filesystem::create_directories(directory);
  std::ofstream(directory / (name + ".html"), std::ios::binary) << page;
}

void write_numbered(const std::filesystem::path& directory, const std::vector<std::string>& pages) {
  for (std::size_t i = 0; i < pages.size(); ++i) write(directory, std::to_string(1000 + i), pages[i]);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: write_pages DIR\n";
    return 2;
  }
  const std::filesystem::path directory = argv[1];
  write_numbered(directory / "shops", SyntheticPages::shops(40));
  write_numbered(directory / "articles", SyntheticPages::articles(40));
  for (const auto& kind : quillmere::hostile::KINDS) write(directory / "hostile", kind.name, kind.page(HOSTILE_BYTES));
}
