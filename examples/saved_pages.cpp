// Reads the product facts out of pages that were saved earlier: nothing is fetched.
//
//   saved_pages DIRECTORY
//
// Each .html file of the directory is read as the page of a shop, and one line says what it tells.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "quillmere/commerce/destination_metadata_parser.hpp"

using namespace quillmere;
using namespace quillmere::commerce;

namespace {

std::string read_file(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: saved_pages DIRECTORY\n";
    return 2;
  }
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
    if (entry.path().extension() == ".html") files.push_back(entry.path());
  }
  std::ranges::sort(files);
  int priced = 0;
  for (const std::filesystem::path& file : files) {
    const std::string html = read_file(file);
    const std::string url = "https://shop.example/products/" + file.stem().string();
    const PageMetadata page = DestinationMetadataParser::parse_metadata(html, url);

    // Every fact that a page may lack is a std::optional.
    std::cout << value(page.page_type) << '\t' << page.title << '\t' << (page.price ? page.price->raw : "no price")
              << '\t' << (page.stock_status ? value(*page.stock_status) : "unknown") << '\t' << page.fetch_source
              << '\n';
    if (page.price) ++priced;
  }
  return priced > 0 ? 0 : 1;
}
