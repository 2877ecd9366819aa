// Memory that runs out: each allocation fails in turn, and either std::bad_alloc reaches the caller or the result is
// whole; nothing leaks, nothing is half written.

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/temporary_directory.hpp"
#include <gtest/gtest.h>

#include "quillmere/commerce/enricher.hpp"
#include "quillmere/commerce/export.hpp"
#include "quillmere/text/json.hpp"

namespace {

// While `countdown` is positive it counts allocations; the one that brings it to 0 fails.
std::atomic<long> countdown = 0;
std::atomic<long> living = 0;
std::atomic<bool> is_counting = false;

bool is_to_fail() noexcept {
  return is_counting && --countdown == 0;
}

void* counted(void* block) noexcept {
  if (block != nullptr) ++living;
  return block;
}

}  // namespace

// The C library's own, under the names that it keeps for those who replace them. operator new comes here too.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

void* malloc(std::size_t size) noexcept {
  return is_to_fail() ? nullptr : counted(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) noexcept {
  return is_to_fail() ? nullptr : counted(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size) noexcept {
  if (is_to_fail()) return nullptr;
  void* const moved = __libc_realloc(block, size);
  return block == nullptr ? counted(moved) : moved;
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return is_to_fail() ? nullptr : counted(__libc_memalign(alignment, size));
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
  *block = aligned_alloc(alignment, size);
  return *block == nullptr ? ENOMEM : 0;
}

void free(void* block) noexcept {
  if (block != nullptr) --living;
  __libc_free(block);
}
}

namespace quillmere {
namespace {

/// Runs `scenario` with its first allocation failing, then with its second, and so on until none does. After each
/// failure `expect_nothing_done` looks at what is left.
void fail_each_allocation(const std::function<void()>& scenario, const std::function<void()>& expect_nothing_done) {
  for (int i = 0; i < 3; ++i) scenario();  // what is kept for good is there from now on
  int failures = 0;
  for (long number = 1;; ++number) {
    const long before = living;
    bool has_failed = false;
    countdown = number;
    is_counting = true;
    try {
      scenario();
    } catch (const std::bad_alloc&) {
      has_failed = true;
    }
    is_counting = false;
    ASSERT_EQ(living, before) << "leaked when allocation " << number << " failed";
    if (has_failed) {
      ++failures;
      expect_nothing_done();
    }
    if (countdown > 0) {
      std::printf("%d of %ld allocations ended the run\n", failures, number - 1);
      ASSERT_FALSE(has_failed);
      ASSERT_GT(failures, 3);
      return;
    }
  }
}

const std::string PAGE = R"(<html><head><title>Fine Shoe &ndash; Größe 42 at the Shop</title>
<meta property="og:title" content="Fine Shoe"><meta property="og:image" content="https://shop.test/a.jpg">
<script type="application/ld+json">{"@graph":[{"@type":"Product","name":"Fine Shoe of the &quot;best&quot; make",
"brand":{"name":"Some Brand of a Long Name"},"sku":"A-1234567890-1234567890","image":["https://shop.test/image-1.jpg"],
"offers":[{"price":"1.299,99","priceCurrency":"EUR","availability":"https://schema.org/InStock"}]}]}</script></head>
<body>)" + std::string(300, '.') +
                         "</body></html>";

std::vector<VisualMatch> matches() {
  return {{.link = "https://www.google.com/url?q=https%3A%2F%2Fshop.test%2Fp%3Futm_source%3Dx",
           .title = "A shoe — buy now",
           .source = "The Shop of Shoes",
           .price = "€ 1.299,99",
           .thumbnail = "https://shop.test/thumbnail.jpg"},
          {.link = "https://blog.test/article", .title = "An article about shoes, in some length"}};
}

TEST(Allocations, ThatFailEndAnEnrichment) {
  commerce::HtmlMap pages;
  pages.insert("https://shop.test/p", PAGE);
  const commerce::EnrichOptions options{.max_items = {}, .pages = commerce::given_pages(std::move(pages))};
  const CommerceIntelligence expected = commerce::CommerceEnricher::process(matches(), options);
  ASSERT_EQ(expected.items.at(0).brand, "Some Brand of a Long Name");
  fail_each_allocation(
      [&] {
        const CommerceIntelligence result = commerce::CommerceEnricher::process(matches(), options);
        if (result.items != expected.items || result.summary != expected.summary)
          throw std::logic_error("another result");
      },
      [] {});
}

TEST(Allocations, ThatFailLeaveTheEarlierExport) {
  const TemporaryDirectory directory;
  const CommerceIntelligence result =
      commerce::CommerceEnricher::process(matches(), {.pages = commerce::given_pages({})});
  const std::filesystem::path csv = directory.path() / "a.csv";
  const std::filesystem::path json = directory.path() / "a.json";
  fail_each_allocation(
      [&] {
        (void)commerce::export_commerce_to_csv(result, csv);
        (void)commerce::export_commerce_to_json(result, json);
      },
      [&] {
        EXPECT_EQ(content(csv), commerce::commerce_to_csv(result));
        EXPECT_EQ(content(json), result.model_dump_json(2, true));
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.path()), {}), 2);
      });
}

TEST(Allocations, ThatFailEndTheReadingOfJson) {
  std::string json = R"({"text":"a\nb\u00e9)" + std::string(100, 'x') + R"(","numbers":[1,2.5,-3e7],"nested":)";
  json += std::string(200, '[') + std::string(200, ']') + '}';
  for (int i = 0; i < 200; ++i) json.insert(1, "\"key" + std::to_string(i % 150) + "\":{\"a\":[]},");
  fail_each_allocation(
      [&] {
        text::JsonDocument document;
        const auto value = document.read(json);
        if (!value) throw std::logic_error("refused");
        if (value->find("text")->string_slice().decoded().size() != 105) throw std::logic_error("another text");
      },
      [] {});
}

}  // namespace
}  // namespace quillmere
