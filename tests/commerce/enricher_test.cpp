#include "quillmere/commerce/enricher.hpp"

#include <stdexcept>
#include <thread>

#include "tests/support/row_name.hpp"
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/use_future.hpp>
#include <gtest/gtest.h>

#include "quillmere/relevance.hpp"
#include "quillmere/text/url.hpp"

namespace quillmere::commerce {
namespace {

namespace asio = boost::asio;

/// Remembers what was asked for, and has no page.
struct EmptySource {
  std::vector<std::vector<std::string>> asked;

  PageSource source() {
    return [this](std::vector<std::string> urls) -> asio::awaitable<HtmlMap> {
      asked.push_back(std::move(urls));
      co_return HtmlMap{};
    };
  }
};

std::vector<VisualMatch> five_matches() {
  std::vector<VisualMatch> matches;
  for (const char* name : {"a", "b", "c", "d", "e"}) {
    matches.push_back({.link = std::string("https://shop.example/") + name, .title = std::string("Item ") + name});
  }
  return matches;
}

struct SliceCase {
  const char* name;
  std::optional<std::int64_t> max_items;
  std::size_t expected;
};

class MaxItems : public testing::TestWithParam<SliceCase> {};

TEST_P(MaxItems, IsAListSliceCount) {
  EmptySource pages;
  const auto items =
      _run_coroutine(CommerceEnricher::enrich_matches_deep_async(five_matches(), GetParam().max_items, pages.source()));
  EXPECT_EQ(items.size(), GetParam().expected);
  ASSERT_EQ(pages.asked.size(), 1U);  // one batch, an empty one too
  EXPECT_EQ(pages.asked[0].size(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Counts, MaxItems,
                         testing::ValuesIn<SliceCase>({{"absent", std::nullopt, 5},
                                                       {"two", 2, 2},
                                                       {"more_than_there_are", 9, 5},
                                                       {"none", 0, 0},
                                                       {"all_but_one", -1, 4},
                                                       {"all_but_five", -5, 0},
                                                       {"smallest", INT64_MIN, 0},
                                                       {"largest", INT64_MAX, 5}}),
                         row_name);

TEST(Pipeline, EmptyInputAsksNobody) {
  EmptySource pages;
  relevance::replace_recompute_market_summary([](const auto&, const auto&) -> CommerceSummary { throw 1; });
  EXPECT_EQ(CommerceEnricher::process({}, {.pages = pages.source()}), CommerceIntelligence{});
  relevance::replace_recompute_market_summary({});
  EXPECT_TRUE(pages.asked.empty());
}

TEST(Pipeline, WithoutPagesTheMatchSpeaks) {
  EmptySource pages;
  const std::vector<VisualMatch> matches{
      {.link = "https://www.google.com/url?q=https://www.Shop.example/p%3Fgclid%3D1%26a%3D2&sa=U",
       .title = "Red  Shoe \xFF",
       .source = "Shoe Shop",
       .price = "1.299,99 €",
       .in_stock = true,
       .thumbnail = "t.png"},
      {.link = "shoes", .title = "Item two", .source = "Source"},
      {.link = "https://www.etsy.com/x", .title = "Bag", .currency = "EUR"},
  };
  const CommerceIntelligence result = CommerceEnricher::process(matches, {.pages = pages.source()});
  EXPECT_EQ(
      pages.asked,
      (std::vector<std::vector<std::string>>{{"https://www.Shop.example/p?a=2", "shoes", "https://www.etsy.com/x"}}));
  ASSERT_EQ(result.items.size(), 3U);
  const EnrichedCommerceMatch& first = result.items[0];
  EXPECT_EQ(first.title, "Red Shoe \uFFFD");
  EXPECT_EQ(first.direct_url, "https://www.Shop.example/p?a=2");
  EXPECT_EQ(first.original_url, matches[0].link);
  EXPECT_EQ(first.price, (NormalizedPrice{.raw = "1299.99 EUR", .amount = 1299.99, .currency = "EUR"}));
  EXPECT_EQ(first.merchant_name, "Shoe Shop");
  EXPECT_EQ(first.merchant_category, std::nullopt);  // uncategorized: nobody was classified
  EXPECT_EQ(first.primary_image_url, "t.png");
  EXPECT_EQ(result.items[1].merchant_name, "Source");
  EXPECT_EQ(result.items[2].merchant_category, MerchantCategory::MAJOR_MARKETPLACE);
  EXPECT_EQ(result.items[2].merchant_name, "etsy.com");
  EXPECT_EQ(result.items[2].match_score, 92);
  EXPECT_EQ(result.summary.total_matches, 3);
  EXPECT_EQ(result.summary.total_priced_matches, 1);
}

TEST(Pipeline, MatchesOfOnePageShareItsText) {
  HtmlMap pages;
  pages.insert("https://a.example/p", "<title>Page Title</title>" + std::string(200, '.'));
  const CommerceIntelligence result = CommerceEnricher::process(
      {{.link = "https://a.example/p?utm_source=1", .title = "ab"}, {.link = "https://a.example/p", .title = "cd"}},
      {.pages = given_pages(std::move(pages))});
  EXPECT_EQ(result.items[0].title, "Page Title");
  EXPECT_EQ(result.items[1].title, "Page Title");
  EXPECT_EQ(result.items[1].match_score, 95);
}

TEST(Pipeline, RelevanceFunctionsAreLookedUpOnEachCallAndSeeEachItemOnce) {
  std::vector<std::string> graded;
  relevance::replace_classify_match_relevance([&](const EnrichedCommerceMatch& item, auto context) {
    EXPECT_FALSE(context);
    graded.push_back(item.title);
    return RelevanceGrade::LOW;
  });
  relevance::replace_recompute_market_summary([](const auto& items, CommerceSummary base) {
    EXPECT_EQ(base, (CommerceSummary{.total_matches = 5}));
    base.total_priced_matches = static_cast<std::int64_t>(items.size()) * 100;
    return base;
  });
  EmptySource pages;
  const CommerceIntelligence result =
      CommerceEnricher::process(five_matches(), {.max_items = 2, .pages = pages.source()});
  relevance::replace_classify_match_relevance({});
  relevance::replace_recompute_market_summary({});
  EXPECT_EQ(graded, (std::vector<std::string>{"Item a", "Item b"}));
  EXPECT_EQ(result.items[1].relevance, RelevanceGrade::LOW);
  EXPECT_EQ(result.summary.total_priced_matches, 200);
  const CommerceIntelligence by_default = CommerceEnricher::process(five_matches(), {.pages = pages.source()});
  EXPECT_EQ(by_default.items[0].relevance, RelevanceGrade::MEDIUM);
  EXPECT_EQ(by_default.summary.total_priced_matches, 0);
}

TEST(Pipeline, ErrorsReachTheCallerUnchanged) {
  EmptySource pages;
  EXPECT_THROW(
      {
        auto result =
            CommerceEnricher::process({{.link = "https://[broken/", .title = "x"}}, {.pages = pages.source()});
      },
      text::MalformedUrl);
  const PageSource failing = [](std::vector<std::string>) -> asio::awaitable<HtmlMap> {
    throw std::domain_error("no pages today");
    co_return HtmlMap{};
  };
  EXPECT_THROW({ auto result = CommerceEnricher::process(five_matches(), {.pages = failing}); }, std::domain_error);
}

TEST(RunCoroutine, WorksInPlaceOrOnOneOtherThread) {
  const auto where = []() -> asio::awaitable<std::thread::id> { co_return std::this_thread::get_id(); };
  EXPECT_EQ(_run_coroutine(where()), std::this_thread::get_id());

  asio::io_context loop;
  asio::post(loop, [&] { EXPECT_NE(_run_coroutine(where()), std::this_thread::get_id()); });
  asio::post(loop, [&] {
    const PageSource failing = [](std::vector<std::string>) -> asio::awaitable<HtmlMap> {
      throw std::domain_error("no pages today");
      co_return HtmlMap{};
    };
    EXPECT_THROW({ auto result = CommerceEnricher::process(five_matches(), {.pages = failing}); }, std::domain_error);
  });
  loop.run();
  EXPECT_FALSE(_runs_event_loop());

  asio::thread_pool pool(1);
  EXPECT_NE(
      asio::co_spawn(
          pool, [&]() -> asio::awaitable<std::thread::id> { co_return _run_coroutine(where()); }, asio::use_future)
          .get(),
      std::this_thread::get_id());
}

TEST(RunCoroutine, CancelsWhatIsStillPending) {
  bool is_destroyed = false;
  struct Flag {
    bool& flag;
    ~Flag() { flag = true; }
  };
  const auto leaves_a_timer = [&]() -> asio::awaitable<int> {
    const auto executor = co_await asio::this_coro::executor;
    asio::co_spawn(
        executor,
        [&]() -> asio::awaitable<void> {
          const Flag flag{is_destroyed};
          asio::steady_timer timer(co_await asio::this_coro::executor, std::chrono::hours(1));
          co_await timer.async_wait(asio::use_awaitable);
        },
        [](const std::exception_ptr&) {});
    co_await asio::post(executor, asio::use_awaitable);
    co_return 7;
  };
  EXPECT_EQ(_run_coroutine(leaves_a_timer()), 7);
  EXPECT_TRUE(is_destroyed);
}

}  // namespace
}  // namespace quillmere::commerce
