#include "quillmere/commerce/destination_fetcher.hpp"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/fetching.hpp"
#include "tests/support/loopback_server.hpp"
#include <gtest/gtest.h>

#include "quillmere/commerce/destination_fetcher_internal.hpp"

namespace quillmere::commerce {
namespace {

using namespace std::chrono_literals;
using http::FetchOptions;
using http::FetchReason;
using namespace quillmere::testing;

HtmlMap fetch_many(std::vector<std::string> urls, std::optional<int> max_workers = std::nullopt, int timeout = 1,
                   FetchOptions options = on_loopback()) {
  return testing::run(
      ScraplingDestinationFetcher::fetch_many(std::move(urls), max_workers, timeout, std::move(options)));
}

TEST(Concurrency, FollowsWorkersThenProcessors) {
  struct Row {
    std::optional<int> max_workers;
    unsigned processors;
    int expected;
  };
  for (const Row& row : {Row{{}, 0, 16}, Row{{}, 1, 4}, Row{{}, 2, 8}, Row{{}, 4, 16}, Row{{}, 6, 24}, Row{{}, 7, 28},
                         Row{{}, 8, 32}, Row{{}, 9, 32}, Row{{}, 4'000'000'000U, 32}, Row{0, 2, 8}, Row{0, 0, 16},
                         Row{1, 8, 1}, Row{100, 1, 100}, Row{-1, 8, -1}}) {
    EXPECT_EQ(internal::concurrency_of(row.max_workers, row.processors), row.expected)
        << row.max_workers.value_or(-99) << " workers, " << row.processors << " processors";
  }
}

// Only what begins with "http" takes a slot and goes to the HTTP layer, which then has its own reasons.
TEST(FetchOne, TakesASlotForHttpOnly) {
  Semaphore none(0);
  Semaphore one(1);
  const auto reason_of = [](const std::string& url, Semaphore& sem) {
    std::vector<http::FetchReport> reports;
    FetchOptions options;
    options.observer = [&](const http::FetchReport& report) { reports.push_back(report); };
    EXPECT_EQ(testing::run(ScraplingDestinationFetcher::fetch_one(url, sem, 1, options)),
              HtmlMap::value_type(url, std::nullopt));
    EXPECT_EQ(reports.size(), 1U) << url;
    EXPECT_EQ(reports.at(0).url, url);
    return reports.at(0).reason;
  };
  for (const char* url :
       {"", "ftp://a.test/", "HTTP://a.test/", "/http", "mailto:http@a.test", " http://a.test/", "htt"}) {
    EXPECT_EQ(value(reason_of(url, none)), value(FetchReason::NOT_HTTP)) << url;
  }
  EXPECT_EQ(value(reason_of("httpx://a.test/", one)), value(FetchReason::UNSUPPORTED_SCHEME));
  EXPECT_EQ(value(reason_of("httpbin", one)), value(FetchReason::BAD_URL));
}

TEST(FetchMany, OfNothingIsNothing) {
  EXPECT_TRUE(fetch_many({}, -1).empty());
}

TEST(FetchMany, FetchesEachDistinctUrlOnceAndKeepsTheirOrder) {
  LoopbackServer server;
  server.on("/slow", late(200ms, answer(200, "slow")));
  server.on("/fast", answer(200, "fast"));
  server.on("/fast/", answer(200, "slash"));
  const HtmlMap pages = fetch_many({server.url("/slow"), server.url("/fast"), "ftp://a.test/", server.url("/slow"),
                                    server.url("/fast/"), "ftp://a.test/", server.url("/fast"), ""});
  const std::vector<HtmlMap::value_type> expected = {{server.url("/slow"), "slow"},
                                                     {server.url("/fast"), "fast"},
                                                     {"ftp://a.test/", std::nullopt},
                                                     {server.url("/fast/"), "slash"},
                                                     {"", std::nullopt}};
  EXPECT_EQ(std::vector(pages.begin(), pages.end()), expected);
  EXPECT_EQ(server.paths().size(), 3U);
}

TEST(FetchMany, KeepsToItsWorkersAndUsesThemAll) {
  struct Row {
    std::optional<int> max_workers;
    int urls;
    int peak;
  };
  const int usual = internal::concurrency_of(std::nullopt, std::thread::hardware_concurrency());
  for (const Row& row : {Row{std::nullopt, 3 * usual, usual}, Row{0, 3 * usual, usual}, Row{1, 20, 1}, Row{3, 12, 3},
                         Row{100, 150, 100}}) {
    LoopbackServer server;
    server.on("/page", [&](Exchange& exchange) {
      for (int i = 0; i < 400 && server.peak() < row.peak; ++i) exchange.wait(10ms);
      late(100ms, answer(200, "x"))(exchange);  // time for one too many
    });
    (void)fetch_many(server.urls("/page", row.urls), row.max_workers, 5);
    EXPECT_EQ(server.peak(), row.peak) << row.max_workers.value_or(-1);
    EXPECT_TRUE(row.peak > 1 || server.connections() == 1);
    // A slot that becomes free goes to the next URL of the list.
    const std::vector<std::string> paths = server.paths();
    for (int i = 0; i < row.urls; ++i) {
      const auto place = std::find(paths.begin(), paths.end(), "/page?n=" + std::to_string(i)) - paths.begin();
      EXPECT_LT(std::abs(place - i), row.peak) << i;
    }
  }
}

TEST(FetchMany, RefusesANegativeNumberOfWorkersBeforeAnyRequest) {
  LoopbackServer server;
  EXPECT_THROW(fetch_many({server.url("/")}, -1), std::invalid_argument);
  EXPECT_EQ(server.connections(), 0);
}

TEST(FetchMany, EightHangingOfSixtyFourEndWithTheLimit) {
  LoopbackServer server;
  server.on("/page", answer(200, "x"));
  server.on("/silent", silent());
  std::vector<std::string> urls = server.urls("/page", 56);
  for (int i = 0; i < 8; ++i) urls.insert(urls.begin() + i * 7, server.url("/silent?" + std::to_string(i)));
  const Stopwatch watch;
  const HtmlMap pages = fetch_many(urls, 32, 1);
  EXPECT_LT(watch.seconds(), 1.5);
  EXPECT_EQ(std::count_if(pages.begin(), pages.end(), [](const auto& page) { return page.second.has_value(); }), 56);
}

}  // namespace
}  // namespace quillmere::commerce
