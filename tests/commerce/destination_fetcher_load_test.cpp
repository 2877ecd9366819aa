// The fetcher under load, cancellation and several threads: nothing is lost, nothing is left.

#include <algorithm>
#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "tests/support/fetching.hpp"
#include "tests/support/loopback_server.hpp"
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "quillmere/commerce/destination_fetcher.hpp"
#include "quillmere/commerce/enricher.hpp"

namespace quillmere::commerce {
namespace {

using namespace std::chrono_literals;
using boost::asio::cancellation_type;
using boost::asio::io_context;
using http::FetchOptions;
using http::FetchReason;
using namespace quillmere::testing;

bool is_aborted(const std::exception_ptr& error) {
  try {
    if (error) std::rethrow_exception(error);
  } catch (const boost::system::system_error& caught) {
    return caught.code() == boost::asio::error::operation_aborted;
  } catch (...) {
  }
  return false;
}

TEST(FetcherLoad, TenThousandMatchesNoneLostOrderKeptNothingLeft) {
  LoopbackServer server;
  server.on("/page", [](Exchange& exchange) {
    exchange.send(testing::response(200, "<title>Page " + exchange.path + "</title>" + std::string(200, '.')));
  });
  const int before = testing::open_descriptors();
  {
    std::vector<VisualMatch> matches;
    for (const std::string& url : server.urls("/page", 10'000)) matches.push_back({.link = url, .title = "a"});
    const CommerceIntelligence result =
        CommerceEnricher::process(matches, {.pages = fetched_pages(std::nullopt, 5, on_loopback())});
    ASSERT_EQ(result.items.size(), matches.size());
    for (std::size_t i = 0; i < matches.size(); ++i) {
      ASSERT_EQ(result.items[i].original_url, matches[i].link);
      ASSERT_EQ(result.items[i].title, "Page /page?n=" + std::to_string(i));
    }
  }
  EXPECT_EQ(server.paths().size(), 10'000U);
  EXPECT_LE(server.peak(), 32);
  EXPECT_LE(server.connections(), 64);
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_EQ(testing::open_descriptors(), before);
}

TEST(FetcherLoad, OneHostAndOneUrlAgainAndAgain) {
  LoopbackServer server;
  server.on("/page", late(2ms, answer(200, "x")));
  std::vector<std::string> urls(1000, server.url("/page"));
  const std::vector<std::string> links = server.urls("/page", 500);
  urls.insert(urls.end(), links.begin(), links.end());
  const HtmlMap pages = testing::run(ScraplingDestinationFetcher::fetch_many(urls, 8, 5, on_loopback()));
  EXPECT_EQ(std::count_if(pages.begin(), pages.end(), [](const auto& page) { return page.second == "x"; }), 501);
  EXPECT_EQ(server.paths().size(), 501U);
  EXPECT_EQ(server.peak(), 8);
  EXPECT_EQ(server.connections(), 8);
}

#ifndef QUILLMERE_SANITIZED  // a sanitizer needs descriptors itself
// However few descriptors this process has left, a page is absent at worst.
TEST(FetcherLoad, RunsOutOfDescriptors) {
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit few = {256, before.rlim_max};
  const int open_before = testing::open_descriptors();
  for (int left = 0; left < 8; ++left) {
    std::map<FetchReason, int> reasons;
    FetchOptions options = on_loopback();
    options.observer = [&](const http::FetchReport& report) { ++reasons[report.reason]; };
    ::setrlimit(RLIMIT_NOFILE, &few);
    std::vector<int> taken;
    for (int descriptor = ::dup(0); descriptor >= 0; descriptor = ::dup(0)) taken.push_back(descriptor);
    for (int i = 0; i < left; ++i) ::close(taken[taken.size() - 1 - static_cast<std::size_t>(i)]);
    taken.resize(taken.size() - static_cast<std::size_t>(left));
    EXPECT_NO_THROW({
      const HtmlMap pages = testing::run(
          ScraplingDestinationFetcher::fetch_many({"http://127.0.0.1:2/", "http://[::1]:2/"}, 2, 1, options));
      EXPECT_EQ(pages.size(), 2U);
    }) << left;
    for (const int descriptor : taken) ::close(descriptor);
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(reasons[FetchReason::FAILED] + reasons[FetchReason::CONNECTION_FAILED], 2) << left;
    EXPECT_TRUE(left > 0 || reasons[FetchReason::FAILED] == 2);
    EXPECT_EQ(testing::open_descriptors(), open_before) << left;
  }
}
#endif

TEST(FetcherLoad, CancellingABatchCancelsAllOfItAtOnce) {
  LoopbackServer server;
  server.on("/silent", silent());
  server.on("/page", answer(200, "x"));
  io_context loop;
  boost::asio::cancellation_signal cancellation;
  std::vector<std::string> urls = server.urls("/silent", 50);
  urls.push_back(server.url("/page"));
  int cancelled = 0;
  FetchOptions options = on_loopback();
  options.observer = [&](const http::FetchReport& report) { cancelled += report.reason == FetchReason::CANCELLED; };
  std::exception_ptr error;
  boost::asio::co_spawn(loop, ScraplingDestinationFetcher::fetch_many(urls, 10, 5, options),
                        boost::asio::bind_cancellation_slot(
                            cancellation.slot(), [&](const std::exception_ptr& thrown, const HtmlMap& pages) {
                              error = thrown;
                              EXPECT_TRUE(pages.empty());
                            }));
  boost::asio::steady_timer timer(loop, 300ms);
  const Stopwatch watch;
  timer.async_wait([&](const boost::system::error_code&) { cancellation.emit(cancellation_type::terminal); });
  loop.run();
  EXPECT_TRUE(is_aborted(error));
  EXPECT_EQ(cancelled, 51);
  EXPECT_LT(watch.seconds(), 0.6);
  EXPECT_EQ(server.peak(), 10);
  EXPECT_TRUE(server.wait_until_idle()) << "connections of cancelled requests are still open";
  // The context is as good as new.
  loop.restart();
  boost::asio::co_spawn(loop, ScraplingDestinationFetcher::fetch_many({server.url("/page")}, 1, 5, on_loopback()),
                        [](const std::exception_ptr& thrown, const HtmlMap& pages) {
                          EXPECT_FALSE(thrown);
                          EXPECT_EQ(pages.begin()->second, "x");
                        });
  loop.run();
}

TEST(FetcherLoad, CancellingAnEnrichmentLeavesNothingToWaitFor) {
  LoopbackServer server;
  server.on("/silent", silent());
  const int before = testing::open_descriptors();
  {
    io_context loop;
    boost::asio::cancellation_signal cancellation;
    std::vector<VisualMatch> matches;
    for (int i = 0; i < 20; ++i)
      matches.push_back({.link = server.url("/silent?n=" + std::to_string(i)), .title = "a"});
    std::exception_ptr error;
    boost::asio::co_spawn(
        loop, CommerceEnricher::process_async(std::move(matches), {.pages = fetched_pages(4, 600, on_loopback())}),
        boost::asio::bind_cancellation_slot(cancellation.slot(), [&](const std::exception_ptr& thrown,
                                                                     const CommerceIntelligence&) { error = thrown; }));
    while (server.peak() < 4) loop.run_for(1ms);
    cancellation.emit(cancellation_type::terminal);
    loop.run();  // a timer of ten minutes that is left would hold it up
    EXPECT_TRUE(is_aborted(error));
    EXPECT_TRUE(server.wait_until_idle()) << "connections of cancelled requests are still open";
    EXPECT_EQ(server.paths().size(), 4U);
  }
  EXPECT_EQ(testing::open_descriptors(), before);
}

// Cancelled at moments spread over a batch of short fetches; whatever the moment, it ends, once.
TEST(FetcherLoad, CancellingAtAnyMomentEndsABatchOnce) {
  LoopbackServer server;
  server.on("/page", late(1ms, answer(200, "x")));
  const int before = testing::open_descriptors();
  int aborted = 0;
  for (int moment = 0; moment < 60; ++moment) {
    io_context loop;
    boost::asio::cancellation_signal cancellation;
    int ends = 0;
    boost::asio::co_spawn(loop, ScraplingDestinationFetcher::fetch_many(server.urls("/page", 40), 4, 5, on_loopback()),
                          boost::asio::bind_cancellation_slot(
                              cancellation.slot(), [&](const std::exception_ptr& error, const HtmlMap& pages) {
                                ++ends;
                                aborted += is_aborted(error);
                                EXPECT_EQ(pages.size(), error ? 0U : 40U);
                              }));
    boost::asio::steady_timer timer(loop, moment * 250us);
    timer.async_wait([&](const boost::system::error_code&) { cancellation.emit(cancellation_type::terminal); });
    loop.run();
    EXPECT_EQ(ends, 1);
  }
  EXPECT_GT(aborted, 5);
  ASSERT_TRUE(server.wait_until_idle());
  EXPECT_EQ(testing::open_descriptors(), before);
}

TEST(FetcherLoad, DestroyingTheContextDropsWhatRuns) {
  LoopbackServer server;
  server.on("/silent", silent());
  server.on("/page", answer(200, "x"));
  const int before = testing::open_descriptors();
  for (const auto run_for : {0ms, 5ms, 100ms}) {
    auto loop = std::make_unique<io_context>();
    std::vector<std::string> urls = server.urls("/page", 2000);
    const std::vector<std::string> stuck = server.urls("/silent", 2000);
    urls.insert(urls.end(), stuck.begin(), stuck.end());
    boost::asio::co_spawn(*loop, ScraplingDestinationFetcher::fetch_many(urls, 8, 5, on_loopback()),
                          [](const std::exception_ptr&, const HtmlMap&) { FAIL() << "nobody is there any more"; });
    loop->run_for(run_for);
    loop.reset();
    EXPECT_TRUE(server.wait_until_idle());
  }
  EXPECT_EQ(testing::open_descriptors(), before);
}

// Two address policies, several batches, some cancelled, on a context run by four threads.
TEST(FetcherLoad, ManyThreadsRunOneContext) {
  LoopbackServer server;
  server.on("/page", answer(200, "x"));
  server.on("/silent", silent());
  boost::asio::thread_pool pool(4);
  std::atomic<int> whole = 0;
  std::atomic<int> aborted = 0;
  std::atomic<int> refused = 0;
  std::deque<boost::asio::cancellation_signal> cancellations;
  std::vector<boost::asio::strand<boost::asio::thread_pool::executor_type>> strands;
  for (int batch = 0; batch < 24; ++batch) {
    const bool is_allowed = batch % 3 != 0;
    const bool is_stuck = batch % 3 == 1;
    std::vector<std::string> urls = server.urls("/page", 100);
    if (is_stuck) urls.push_back(server.url("/silent"));
    FetchOptions options;
    options.allow_private_networks = is_allowed;
    options.observer = [&, overlapping = std::make_shared<int>(0)](const http::FetchReport& report) {
      ++*overlapping;  // a data race unless the calls of one batch take turns
      refused += report.reason == FetchReason::REFUSED_ADDRESS;
    };
    strands.push_back(boost::asio::make_strand(pool));
    boost::asio::co_spawn(
        strands.back(), ScraplingDestinationFetcher::fetch_many(urls, 8, 5, options),
        boost::asio::bind_cancellation_slot(cancellations.emplace_back().slot(),
                                            [&, is_allowed](const std::exception_ptr& error, const HtmlMap& pages) {
                                              if (error) aborted += is_aborted(error);
                                              for (const auto& [url, html] : pages)
                                                whole += html.has_value() == is_allowed;
                                            }));
  }
  std::this_thread::sleep_for(500ms);
  for (std::size_t batch = 1; batch < 24; batch += 3) {
    boost::asio::dispatch(strands[batch], [&, batch] { cancellations[batch].emit(cancellation_type::terminal); });
  }
  pool.join();
  EXPECT_EQ(aborted, 8);
  EXPECT_EQ(whole, 16 * 100);
  EXPECT_EQ(refused, 8 * 100);
}

// One loop a thread, as programs with a loop for each core have them: they share nothing.
TEST(FetcherLoad, ContextsOnTheirOwnThreads) {
  LoopbackServer server;
  server.on("/page", answer(200, "x"));
  std::vector<std::thread> threads;
  std::atomic<int> whole = 0;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 5; ++round) {
        const HtmlMap pages =
            testing::run(ScraplingDestinationFetcher::fetch_many(server.urls("/page", 50), 8, 5, on_loopback()));
        for (const auto& [url, html] : pages) whole += html.has_value();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(whole, 4 * 5 * 50);
}

}  // namespace
}  // namespace quillmere::commerce
