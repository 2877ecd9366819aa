// Pages made to hurt, read on a thread with hardly any stack: each gives a record like any other.

#include "tests/support/hostile_pages.hpp"

#include <functional>
#include <optional>
#include <ostream>
#include <pthread.h>
#include <stdexcept>
#include <string>

#include "tests/support/long_text.hpp"
#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

#include "quillmere/commerce/destination_metadata_parser.hpp"
#include "quillmere/commerce/enricher.hpp"
#include "quillmere/text/json.hpp"

namespace quillmere::commerce {
namespace {

#ifdef QUILLMERE_SANITIZED  // whose frames are several times as large
constexpr std::size_t STACK_BYTES = 1 << 20;
#else
constexpr std::size_t STACK_BYTES = 192 << 10;
#endif

void on_a_small_stack(std::function<void()> work) {
  pthread_attr_t attributes;
  pthread_t thread = 0;
  pthread_attr_init(&attributes);
  if (pthread_attr_setstacksize(&attributes, STACK_BYTES) != 0) throw std::runtime_error("stack size");
  const auto run = [](void* task) -> void* {
    (*static_cast<std::function<void()>*>(task))();
    return nullptr;
  };
  if (pthread_create(&thread, &attributes, run, &work) != 0) throw std::runtime_error("thread");
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

class HostilePage : public testing::TestWithParam<hostile::Kind> {};

TEST_P(HostilePage, IsReadInGoodTime) {
  const std::string page = GetParam().page(LONG_TEXT_BYTES);
  on_a_small_stack(
      [&] { EXPECT_EQ(DestinationMetadataParser::parse_metadata(page, "https://shop.test/a").match_score, 98); });
}

INSTANTIATE_TEST_SUITE_P(Kinds, HostilePage, testing::ValuesIn(hostile::KINDS), row_name);

struct ValueCase {
  const char* name;
  std::string_view head;
  std::string_view body;  ///< as often as it takes
  std::string_view tail;
  std::size_t bytes;       ///< of the page, at least
  std::string_view title;  ///< begins so; "ab" is the match's own
  std::optional<double> amount = std::nullopt;
  std::size_t brand_bytes = 0;
};

void PrintTo(const ValueCase& row, std::ostream* out) {
  *out << row.name;
}

class HostileValue : public testing::TestWithParam<ValueCase> {};

TEST_P(HostileValue, GivesARecord) {
  const ValueCase& row = GetParam();
  const std::string page = hostile::Kind{row.name, row.head, row.body, row.tail}.page(row.bytes);
  on_a_small_stack([&] {
    HtmlMap pages;
    pages.insert("https://shop.test/a", page);
    const CommerceIntelligence result = CommerceEnricher::process({{.link = "https://shop.test/a", .title = "ab"}},
                                                                  {.pages = given_pages(std::move(pages))});
    ASSERT_EQ(result.items.size(), 1U);
    const EnrichedCommerceMatch& item = result.items[0];
    EXPECT_TRUE(item.title.starts_with(row.title)) << item.title.substr(0, 100);
    EXPECT_EQ(item.price ? std::optional(item.price->amount) : std::nullopt, row.amount);
    EXPECT_EQ(item.brand.value_or("").size(), row.brand_bytes);
    text::JsonDocument document;
    EXPECT_TRUE(document.read(result.model_dump_json()));
  });
}

#define PRODUCT "<script type=\"application/ld+json\">{\"@type\":\"Product\",\"name\":\"Kept\","
#define END "}</script>"
#define OFFER(price) PRODUCT "\"offers\":{\"price\":" price ",\"priceCurrency\":\"EUR\"}" END

constexpr std::size_t MEGA = 1'000'000;

INSTANTIATE_TEST_SUITE_P(
    Values, HostileValue,
    testing::ValuesIn<ValueCase>({
        {"two_million_levels", PRODUCT "\"a\":", "[", "", 2 * MEGA + 100, "ab"},
        {"a_million_siblings", PRODUCT "\"a\":[0", ",1", "]" END, 2 * MEGA + 100, "Kept"},
        {"a_million_times_one_key", PRODUCT "\"a\":0", ",\"a\":1", END, 6 * MEGA + 100, "Kept"},
        {"a_text_of_ten_megabytes", PRODUCT "\"description\":\"", "x", "\"" END, 10 * MEGA, "Kept"},
        {"a_number_of_5000_digits", PRODUCT "\"sku\":", "7", END, 5100, "Kept"},
        {"a_price_of_a_million_digits", PRODUCT "\"offers\":{\"price\":\"", "7", "\"}" END, MEGA, "Kept"},
        {"a_brand_of_a_megabyte", PRODUCT "\"brand\":\"", "b", "\"" END, MEGA, "Kept", std::nullopt, 999'912},
        {"a_price_beyond_all_numbers", OFFER("1e400"), ".", "", 500, "Kept", 1},
        {"a_price_of_less_than_nothing", OFFER("-0"), ".", "", 500, "Kept"},
        {"bytes_that_are_no_text", "<title>Kept</title>", "\xFF", "", 16 * MEGA, "Kept"},
        {"a_million_ampersands", "<title>Kept &am", "&", "p</title>", MEGA, "Kept"},
        {"lone_surrogates", PRODUCT "\"name\":\"a\\udc00\\ud800b\"" END, ".", "", 500, "a\uFFFD\uFFFDb"},
        {"marks_that_reorder_text", "<title>\u202Eevil\u2066</title>", ".", "", 500, "\u202Eevil\u2066"},
        {"terminal_sequences", "<title>a\x1b]0;b\x07\x1b[2J</title>", ".", "", 500, "a\x1b]0;b\x07\x1b[2J"},
        {"end_of_script", PRODUCT "\"name\":\"a<\\/script><b>\"" END, ".", "", 500, "a</script><b>"},
        {"a_formula", "<title>=HYPERLINK(\"//a.test\")</title>", ".", "", 500, "=HYPERLINK(\"//a.test\")"},
    }),
    row_name);

}  // namespace
}  // namespace quillmere::commerce
