// Reading pages: what it costs against one memchr over the same bytes, against the page patterns run by PCRE2's JIT,
// and where the time goes.
//
//   page_analysis [DIR...]    the DIR/*.html of each; without DIR, made-up shop pages and made-up articles
//
// A set of pages is copied until it holds 96 MB: more than the processor's caches do, so that every pass, memchr's too,
// reads from memory as it does in a program that reads many pages.
//
// The passes take turns in each of 9 rounds; a figure is the median of the rounds' processor times, a ratio the median
// of the rounds' own ratios. The shares are of the least times that each stage took of each page.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "bench/measure.hpp"
#include "bench/synthetic_pages.hpp"
#include "tests/support/page_patterns.hpp"

#include "quillmere/commerce/destination_metadata_parser.hpp"
#include "quillmere/commerce/page/classification.hpp"
#include "quillmere/commerce/page/fallbacks.hpp"
#include "quillmere/commerce/page/page_reader.hpp"
#include "quillmere/commerce/page/structured_data.hpp"
#include "quillmere/text/unicode.hpp"

namespace {

using namespace quillmere;
using commerce::DestinationMetadataParser;
using commerce::PageMetadata;
using commerce::page::LiteralIndex;
using commerce::page::PageReader;
using commerce::page::WorkingValues;
using page_patterns::Patterns;
using Pages = std::vector<std::string>;

constexpr int ROUNDS = 9;
constexpr std::size_t ENOUGH_BYTES = 96'000'000;
constexpr const char* URL = "https://shop.example/products/red-running-shoe";
constexpr const char* TITLE = "Red Running Shoe";

/// Keeps results in use.
std::size_t seen = 0;

PageMetadata analyse(const std::string& page) {
  return DestinationMetadataParser::parse_metadata(page, URL, TITLE);
}

std::size_t search_with_verifiers(const LiteralIndex& index) {
  namespace verify = commerce::page;
  std::size_t found = page_patterns::bodies(index, verify::LD_JSON).size() + page_patterns::meta_captures(index).size();
  found += verify::ScriptBodies(index, verify::PAGE_STATE).next() ? 1U : 0U;
  found += verify::title_text(index) ? 1U : 0U;
  for (const auto search : {verify::shop_price, verify::microdata_price, verify::microdata_currency,
                            verify::microdata_identifier, verify::identifier_element, verify::identifier_attribute}) {
    found += search(index) ? 1U : 0U;
  }
  for (const auto search : {verify::has_in_stock_class, verify::has_out_of_stock_class, verify::mentions_in_stock,
                            verify::mentions_out_of_stock}) {
    found += search(index) ? 1U : 0U;
  }
  return found;
}

std::size_t search_with_patterns(Patterns& p, std::string_view page) {
  std::size_t found = p.ld_json.all_groups(page).size() + page_patterns::meta_captures(p, page).size();
  for (page_patterns::Pattern* const pattern :
       {&p.page_state, &p.title, &p.shop_price, &p.microdata_price, &p.microdata_currency, &p.microdata_identifier,
        &p.identifier_element, &p.identifier_attribute, &p.in_stock_class, &p.out_of_stock_class, &p.in_stock_term,
        &p.out_of_stock_term}) {
    found += pattern->first(page) ? 1U : 0U;
  }
  return found;
}

struct Pass {
  std::string name;
  std::function<void(const std::string&)> read;
  std::vector<double> seconds = {};
};

std::vector<Pass> all_passes() {
  static LiteralIndex index;
  static Patterns patterns;
  std::vector<Pass> passes = {
      {"memchr for an absent byte",
       [](const std::string& page) { seen += page.find('\xFF') != std::string::npos ? 1U : 0U; }},
      {"whole analysis", [](const std::string& page) { seen += analyse(page).title.size(); }},
      {"index and the 14 searches",
       [](const std::string& page) {
         index.read(page);
         seen += search_with_verifiers(index);
       }},
      {"the 14 searches by PCRE2's JIT", [](const std::string& page) { seen += search_with_patterns(patterns, page); }},
      {"UTF-8 validation", [](const std::string& page) { seen += text::is_valid_utf8(page) ? 1U : 0U; }},
  };
  constexpr std::array<const char*, 3> NAMES = {"literal index, portable", "literal index, SSSE3",
                                                "literal index, AVX2"};
  for (std::size_t i = 0; i < NAMES.size(); ++i) {
    const auto pass = static_cast<LiteralIndex::Pass>(i);
    if (LiteralIndex::best_pass() < pass) continue;
    passes.push_back({NAMES[i], [pass](const std::string& page) { index.read(page, pass); }});
  }
  return passes;
}

/// Median of the rounds' own ratios of two passes' times.
double median_ratio(const Pass& pass, const Pass& rival) {
  std::vector<double> ratios;
  ratios.reserve(pass.seconds.size());
  for (std::size_t i = 0; i < pass.seconds.size(); ++i) ratios.push_back(pass.seconds[i] / rival.seconds[i]);
  return bench::median(ratios);
}

void measure_passes(const Pages& pages) {
  std::vector<Pass> passes = all_passes();
  for (int round = 0; round < ROUNDS; ++round) {
    for (Pass& pass : passes) {
      pass.seconds.push_back(bench::seconds_of([&] {
        for (const std::string& page : pages) pass.read(page);
      }));
    }
  }
  std::printf("  %-34s %9s %9s %10s\n", "", "MB/s", "pages/s", "x memchr");
  for (const Pass& pass : passes) {
    const double seconds = bench::median(pass.seconds);
    std::printf("  %-34s %9.0f %9.0f %10.2f\n", pass.name.c_str(),
                static_cast<double>(bench::bytes_of(pages)) / 1e6 / seconds,
                static_cast<double>(pages.size()) / seconds, median_ratio(pass, passes[0]));
  }
  std::printf("  whole analysis costs %.2f memchr passes (to be at most 6.5 with AVX2)\n",
              median_ratio(passes[1], passes[0]));
  std::printf("  index and searches are %.1f times as fast as PCRE2's JIT (to be at least 10)\n",
              median_ratio(passes[3], passes[2]));
}

void compare_matches(const Pages& pages) {
  Patterns patterns;
  LiteralIndex index;
  std::size_t differences = 0;
  for (const std::string& page : pages) {
    index.read(page);
    differences += page_patterns::differences(index, patterns).size();
  }
  std::printf("  searches whose match differs from PCRE2's: %zu\n", differences);
}

double wall_seconds_of_threads(const Pages& pages, int count) {
  const auto start = std::chrono::steady_clock::now();
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&pages] {
      for (const std::string& page : pages) static_cast<void>(analyse(page));
    });
  }
  for (std::thread& thread : threads) thread.join();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void measure_threads(const Pages& pages) {
  std::vector<double> gains;
  gains.reserve(ROUNDS);
  for (int round = 0; round < ROUNDS; ++round) {
    gains.push_back(2 * wall_seconds_of_threads(pages, 1) / wall_seconds_of_threads(pages, 2));
  }
  std::printf("  two threads do %.2f times the work of one (to be at least 1.8 with two idle cores)\n",
              bench::median(gains));
}

constexpr std::array STAGES = {"literal index",
                               "UTF-8 validation",
                               "JSON-LD products",
                               "structured data stage",
                               "page state product",
                               "page state stage",
                               "meta tags",
                               "Open Graph and meta stages",
                               "markup stage",
                               "title from the page",
                               "title repair, classes",
                               "URL, seed and record"};
using StageTimes = std::array<double, STAGES.size()>;

class StageClock {
 public:
  explicit StageClock(StageTimes& least) : _least(least) {}

  template <class Work>
  void time(std::size_t stage, Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    _least[stage] = std::min(_least[stage], taken.count());
  }

 private:
  StageTimes& _least;
};

/// What parse_metadata does with a page, stage by stage.
WorkingValues analyse_in_stages(const std::string& html, StageClock clock) {
  namespace stage = commerce::page;
  static PageReader page;
  WorkingValues values;
  clock.time(11, [&] { seen += DestinationMetadataParser::parse_metadata(std::nullopt, URL, TITLE).title.size(); });
  values.direct_url = URL;
  values.parsed = text::urlparse(URL);
  values.domain = values.merchant = "shop.example";
  values.title = TITLE;
  values.fetch_source = commerce::FETCH_SOURCE_SERP_FALLBACK;

  clock.time(0, [&] { page.open(html); });
  clock.time(1, [&] { seen += text::is_valid_utf8(html) ? 1U : 0U; });
  clock.time(2, [&] { seen += page.ld_json_products().first ? 1U : 0U; });
  std::optional<text::JsonValue> state;
  if (page.ld_json_products().first) {
    clock.time(3, [&] { stage::read_ld_json(page.ld_json_products(), values); });
  } else {
    clock.time(4, [&] { state = page.next_data_product(); });
    if (state && !state->is_empty()) clock.time(5, [&] { stage::read_page_state(*state, values); });
  }
  clock.time(6, [&] { static_cast<void>(page.meta_tags()); });
  clock.time(7, [&] {
    if (values.fetch_source == commerce::FETCH_SOURCE_SERP_FALLBACK) stage::read_open_graph(page.meta_tags(), values);
    stage::fill_from_meta_tags(page.meta_tags(), values);
  });
  clock.time(8, [&] { stage::fill_from_markup(page.index(), values); });
  clock.time(9, [&] { stage::take_title_from_page(page, values); });
  clock.time(10, [&] { stage::repair_and_classify(values); });
  page.close();
  return values;
}

bool is_same(const WorkingValues& values, const PageMetadata& record) {
  return values.brand == record.brand && values.sku == record.sku && values.stock == record.stock_status &&
         values.page_type == record.page_type && values.fetch_source == record.fetch_source &&
         values.price_amount == (record.price ? std::optional(record.price->amount) : std::nullopt);
}

void measure_stages(const Pages& pages) {
  StageTimes sums{};
  std::size_t others = 0;
  for (const std::string& page : pages) {
    StageTimes least;
    least.fill(std::numeric_limits<double>::infinity());
    for (int round = 0; round < ROUNDS; ++round) {
      const WorkingValues values = analyse_in_stages(page, StageClock(least));
      if (round == 0 && !is_same(values, analyse(page))) ++others;
    }
    for (std::size_t i = 0; i < least.size(); ++i) {
      if (least[i] < std::numeric_limits<double>::infinity()) sums[i] += least[i];
    }
  }
  double total = 0;
  for (const double sum : sums) total += sum;
  std::printf("  share of the analysis, and microseconds a page:\n");
  for (std::size_t i = 0; i < sums.size(); ++i) {
    std::printf("    %-28s %5.1f %% %8.2f\n", STAGES[i], 100 * sums[i] / total,
                sums[i] * 1e6 / static_cast<double>(pages.size()));
  }
  if (others != 0)
    std::printf("  %zu pages give other facts in stages than at once: these stages are not the parser's\n", others);
}

/// The pages again and again, each time in memory of their own.
Pages more_than_the_caches_hold(const Pages& pages) {
  Pages copies;
  std::size_t bytes = 0;
  for (std::size_t i = 0; bytes < ENOUGH_BYTES; i = (i + 1) % pages.size()) {
    copies.push_back(pages[i]);
    bytes += pages[i].size() + 1;
  }
  return copies;
}

void measure(const std::string& name, const Pages& pages) {
  std::printf("%s: %zu pages, %.1f MB\n", name.c_str(), pages.size(),
              static_cast<double>(bench::bytes_of(pages)) / 1e6);
  if (pages.empty()) return;
  const Pages copies = more_than_the_caches_hold(pages);
  measure_passes(copies);
  compare_matches(pages);
  measure_threads(copies);
  measure_stages(pages);
  std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 1) {
    measure("made-up shop pages", bench::SyntheticPages::shops(150));
    measure("made-up articles", bench::SyntheticPages::articles(150));
  }
  for (int i = 1; i < argc; ++i) measure(argv[i], bench::pages_of(argv[i]));
  return seen == 0 ? 1 : 0;
}
