// Reading JSON as it stands in pages: this reader against simdjson's DOM and nlohmann's tree, in MB/s.
//
//   json_reader [DIR]    the application/ld+json and __NEXT_DATA__ scripts of DIR/*.html; without DIR, made-up ones
//
// Each figure is the median of 9 rounds, the readers taking turns in each; the ratio is the median of the rounds' own
// ratios. Every reader keeps its buffers from text to text, and simdjson gets its padded copies for nothing. Texts that
// one of the readers refuses are left out and counted.

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <simdjson.h>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "quillmere/commerce/page/elements.hpp"
#include "quillmere/text/json.hpp"
#include "quillmere/text/json_script.hpp"
#include "quillmere/text/unicode.hpp"

namespace {

namespace page = quillmere::commerce::page;
using quillmere::text::JsonDocument;
using quillmere::text::JsonMember;
using quillmere::text::JsonValue;

constexpr int ROUNDS = 9;
constexpr double SECONDS_PER_FIGURE = 0.06;

struct TextSet {
  const char* name;
  std::vector<std::string> texts = {};
};

struct Reader {
  const char* name;
  std::function<std::size_t()> read_all;  // gives the number of bytes read
  std::vector<double> speeds = {};
  std::vector<double> ratios = {};  // to the rival, per round
};

void take_scripts(const page::LiteralIndex& index, const page::ScriptKind& kind, TextSet& set) {
  page::ScriptBodies bodies(index, kind);
  while (const auto body = bodies.next()) set.texts.emplace_back(quillmere::text::unwrap_json_script(*body));
}

std::vector<TextSet> scripts_of_pages(const std::filesystem::path& directory) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (entry.path().extension() == ".html") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  std::vector<TextSet> sets{{"ld+json"}, {"page state"}};
  page::LiteralIndex index;
  for (const auto& file : files) {
    std::ifstream in(file, std::ios::binary);
    const std::string html =
        quillmere::text::to_valid_utf8({std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()});
    index.read(html);
    take_scripts(index, page::LD_JSON, sets[0]);
    take_scripts(index, page::PAGE_STATE, sets[1]);
  }
  return sets;
}

/// Products as shops write them: nested offers and brands, addresses, some prose, some escapes.
nlohmann::ordered_json made_up_product(std::mt19937& random) {
  static constexpr const char* WORDS[] = {"soft", "leather", "Größe", "blue", "classic", "running", "<p>", "\"fit\""};
  const auto prose = [&](std::size_t words) {
    std::string text;
    for (; words > 0; --words) text.append(WORDS[random() % std::size(WORDS)]).append(" ");
    return text;
  };
  const std::string number = std::to_string(random() % 100000);
  nlohmann::ordered_json product{{"@context", "https://schema.org"},
                                 {"@type", "Product"},
                                 {"name", prose(5)},
                                 {"description", prose(20 + random() % 60)},
                                 {"sku", number},
                                 {"gtin13", random()},
                                 {"brand", {{"@type", "Brand"}, {"name", prose(1)}}},
                                 {"aggregateRating", {{"ratingValue", 4.5}, {"reviewCount", random() % 900}}}};
  for (std::size_t i = 0; i < 1 + random() % 5; ++i) {
    const std::string address = "https://shop.example/p/" + number + "/" + std::to_string(i);
    product["image"].push_back(address + ".jpg?width=1200");
    product["offers"].push_back({{"@type", "Offer"},
                                 {"price", static_cast<double>(random() % 50000) / 100},
                                 {"priceCurrency", "EUR"},
                                 {"availability", "https://schema.org/InStock"},
                                 {"url", address},
                                 {"inStock", true},
                                 {"sellerId", nullptr}});
  }
  return product;
}

std::vector<TextSet> made_up_scripts() {
  std::mt19937 random(1);
  std::vector<TextSet> sets{{"ld+json"}, {"page state"}};
  for (int i = 0; i < 200; ++i) sets[0].texts.push_back(made_up_product(random).dump(i % 3 == 0 ? 2 : -1));
  for (int i = 0; i < 20; ++i) {
    nlohmann::ordered_json state{{"props", {{"pageProps", {{"product", made_up_product(random)}}}}}};
    for (int j = 0; j < 100; ++j) state["props"]["pageProps"]["related"].push_back(made_up_product(random));
    sets[1].texts.push_back(state.dump());
  }
  return sets;
}

std::size_t visit(JsonValue value) {
  std::size_t values = 1;
  for (const JsonMember member : value.members()) values += visit(member.value);
  for (const JsonValue element : value.elements()) values += visit(element);
  return values;
}

/// Keeps what every reader takes; gives the number of the others.
std::size_t drop_refused(TextSet& set) {
  JsonDocument document;
  simdjson::dom::parser parser;
  return std::erase_if(set.texts, [&](const std::string& text) {
    return !document.read(text) || parser.parse(text).error() != simdjson::SUCCESS || !nlohmann::json::accept(text);
  });
}

/// Repeats `read_all` for a while; MB/s of processor time, which other programs on the machine disturb least.
double speed_of(const std::function<std::size_t()>& read_all) {
  const std::clock_t start = std::clock();
  std::size_t bytes = 0;
  double seconds = 0;
  while (seconds < SECONDS_PER_FIGURE) {
    bytes += read_all();
    seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  }
  return static_cast<double>(bytes) / 1e6 / seconds;
}

double median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

void measure(TextSet& set) {
  const std::size_t refused = drop_refused(set);
  std::size_t bytes = 0;
  for (const std::string& text : set.texts) bytes += text.size();
  std::printf("\n%s: %zu texts, %.2f MB (%zu left out)\n", set.name, set.texts.size(), static_cast<double>(bytes) / 1e6,
              refused);
  if (set.texts.empty()) return;

  const std::vector<simdjson::padded_string> padded(set.texts.begin(), set.texts.end());
  simdjson::dom::parser parser;
  JsonDocument document;
  std::size_t seen = 0;
  const auto over_texts = [&](auto read) {
    return [&, read] {
      for (const std::string& text : set.texts) read(text);
      return bytes;
    };
  };
  std::vector<Reader> readers{
      {"simdjson DOM",
       [&] {
         for (const simdjson::padded_string& text : padded) seen += parser.parse(text).error() == simdjson::SUCCESS;
         return bytes;
       }},
      {"quillmere", over_texts([&](const std::string& text) { seen += document.read(text).has_value(); })},
      {"quillmere and every value visited",
       over_texts([&](const std::string& text) { seen += visit(document.read(text).value()); })},
      {"nlohmann ordered_json",
       over_texts([&](const std::string& text) { seen += nlohmann::ordered_json::parse(text).size(); })},
  };
  for (int round = 0; round < ROUNDS; ++round) {
    for (Reader& reader : readers) reader.speeds.push_back(speed_of(reader.read_all));
    for (Reader& reader : readers) reader.ratios.push_back(reader.speeds.back() / readers.front().speeds.back());
  }
  for (const Reader& reader : readers) {
    std::printf("  %-36s %8.0f MB/s   %5.2f x simdjson DOM\n", reader.name, median(reader.speeds),
                median(reader.ratios));
  }
  if (seen == 0) std::printf("  nothing was read\n");  // also keeps the work from being optimised away
}

}  // namespace

int main(int argc, char** argv) {
  std::printf("simdjson runs its %s code; medians of %d rounds\n",
              simdjson::get_active_implementation()->name().c_str(), ROUNDS);
  std::vector<TextSet> sets = argc > 1 ? scripts_of_pages(argv[1]) : made_up_scripts();
  for (TextSet& set : sets) measure(set);
}
