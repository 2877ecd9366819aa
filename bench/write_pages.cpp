// Writes made-up pages as files, for scripts that serve them: shops, articles and hostile ones.
//
//   write_pages DIR

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "bench/synthetic_pages.hpp"
#include "tests/support/hostile_pages.hpp"

namespace {

constexpr std::size_t HOSTILE_BYTES = 100'000;

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: write_pages DIR\n";
    return 2;
  }
  const std::filesystem::path directory = argv[1];
  std::filesystem::create_directories(directory);
  const auto write = [&](const std::string& name, const std::string& page) {
    std::ofstream(directory / (name + ".html"), std::ios::binary) << page;
  };
  int number = 0;
  for (const std::string& page : quillmere::bench::SyntheticPages::shops(40))
    write("shop" + std::to_string(++number), page);
  for (const std::string& page : quillmere::bench::SyntheticPages::articles(20)) {
    write("article" + std::to_string(++number), page);
  }
  for (const auto& kind : quillmere::hostile::KINDS) write(kind.name, kind.page(HOSTILE_BYTES));
}
