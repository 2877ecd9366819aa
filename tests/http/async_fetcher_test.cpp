#include "quillmere/http/async_fetcher.hpp"

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "tests/support/fetching.hpp"
#include "tests/support/loopback_server.hpp"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quillmere/version.hpp"

namespace quillmere::http {
namespace {

using namespace std::chrono_literals;
using namespace quillmere::testing;
using ::testing::HasSubstr;
using ::testing::Not;

// How each kind of answer ends is told by the rows for hostile servers; here, what only this layer shows of it.
TEST(AsyncFetcher, GivesAnEmptyBodyToo) {
  LoopbackServer server;
  server.on("/", answer(204, ""));
  const Fetched fetched = fetch(server.url("/"), on_loopback());
  EXPECT_EQ(fetched.body, "");
  EXPECT_EQ(fetched.status, 204);
}

TEST(AsyncFetcher, FollowsTwentyRedirectsAndNotOneMore) {
  LoopbackServer server;
  for (int hop = 0; hop < 21; ++hop) server.on("/" + std::to_string(hop), redirect("/" + std::to_string(hop + 1)));
  server.on("/21", answer(200, "arrived"));
  const Fetched near = fetch(server.url("/1"), on_loopback());
  EXPECT_EQ(near.body, "arrived");
  EXPECT_EQ(near.report.redirects, MAX_REDIRECTS);
  EXPECT_EQ(fetch(server.url("/0"), on_loopback()).report.reason, FetchReason::TOO_MANY_REDIRECTS);
}

TEST(AsyncFetcher, SendsWhatABrowserSendsAndNamesItself) {
  LoopbackServer server;
  (void)fetch(server.url("/"), on_loopback());
  EXPECT_THAT(server.last_head(), HasSubstr("GET / HTTP/1.1\r\n"));
  EXPECT_THAT(server.last_head(), HasSubstr("quillmere/" + std::string(version())));
  EXPECT_THAT(server.last_head(), HasSubstr("\r\nAccept: text/html,"));
  EXPECT_THAT(server.last_head(), HasSubstr("\r\nAccept-Language: en"));
  EXPECT_THAT(server.last_head(), HasSubstr("gzip"));
}

// Neither a link nor a redirect can make it log in somewhere.
TEST(AsyncFetcher, SendsNoCredentialsAndNoCookies) {
  LoopbackServer server;
  server.on("/login", answer(401, "who?", {{"WWW-Authenticate", "Basic realm=\"a\""}, {"Set-Cookie", "a=b"}}));
  const std::string there = "127.0.0.1:" + std::to_string(server.port());
  server.on("/away", redirect("http://other:word@" + there + "/login"));
  EXPECT_EQ(fetch("http://user:secret@" + there + "/login", on_loopback()).body, "who?");
  EXPECT_THAT(server.last_head(), Not(HasSubstr("Authorization")));
  EXPECT_EQ(fetch("http://user:secret@" + there + "/away", on_loopback()).body, "who?");
  EXPECT_THAT(server.last_head(), Not(HasSubstr("Authorization")));
  EXPECT_THAT(server.last_head(), Not(HasSubstr("Cookie")));
}

TEST(AsyncFetcher, TakesNoProxyFromTheEnvironment) {
  LoopbackServer proxy;
  LoopbackServer server;
  server.on("/", answer(200, "direct"));
  for (const char* name : {"http_proxy", "HTTP_PROXY", "all_proxy", "ALL_PROXY", "https_proxy"}) {
    ::setenv(name, proxy.url("").c_str(), 1);
  }
  EXPECT_EQ(fetch(server.url("/"), on_loopback()).body, "direct");
  for (const char* name : {"http_proxy", "HTTP_PROXY", "all_proxy", "ALL_PROXY", "https_proxy"}) ::unsetenv(name);
  EXPECT_EQ(proxy.connections(), 0);
}

TEST(AsyncFetcher, SaysWhyNoServerWasReached) {
  EXPECT_EQ(fetch("http://127.0.0.1:99999/", on_loopback()).report.reason, FetchReason::BAD_URL);
  // libcurl refuses a request of a megabyte as if memory had run out.
  LoopbackServer server;
  EXPECT_EQ(fetch(server.url("/") + std::string(1 << 20, 'x'), on_loopback()).report.reason, FetchReason::BAD_URL);
  EXPECT_EQ(fetch(server.url("/") + std::string(200'000, 'x'), on_loopback()).report.http_status, 404);
}

TEST(AsyncFetcher, CountsBytesTimeAndRedirects) {
  LoopbackServer server;
  server.on("/", redirect("/page"));
  server.on("/page", late(100ms, answer(200, "five!")));
  const FetchReport report = fetch(server.url("/"), on_loopback()).report;
  EXPECT_EQ(report.bytes, 5U);
  EXPECT_EQ(report.redirects, 1);
  EXPECT_GE(report.milliseconds, 95);
  EXPECT_LT(report.milliseconds, 1000);
}

TEST(AsyncFetcher, ErrorNamesUrlAndReason) {
  try {
    (void)quillmere::testing::run(AsyncFetcher::get("httpbin", 1));
    FAIL();
  } catch (const FetchError& error) {
    EXPECT_STREQ(error.what(), "quillmere: httpbin: bad_url");
  }
}

TEST(AsyncFetcher, DropsWhatAnObserverThrows) {
  LoopbackServer server;
  server.on("/", answer(200, "text"));
  FetchOptions options = on_loopback();
  options.observer = [](const FetchReport&) { throw std::runtime_error("mine"); };
  EXPECT_EQ(quillmere::testing::run(AsyncFetcher::get(server.url("/"), 1, options))->body, "text");
}

// The limits in seconds: none of its own at 0, where the outer one ends the fetch after a second; no time at all below.
TEST(AsyncFetcher, OuterLimitHoldsByItself) {
  LoopbackServer server;
  server.on("/", silent());
  server.on("/ok", answer(200, "text"));
  const Stopwatch watch;
  EXPECT_EQ(fetch(server.url("/"), on_loopback(), 0).report.reason, FetchReason::TIMED_OUT);
  EXPECT_GE(watch.seconds(), 0.9);
  EXPECT_LT(watch.seconds(), 1.5);
  EXPECT_EQ(fetch(server.url("/ok"), on_loopback(), 0).body, "text");
  EXPECT_EQ(fetch(server.url("/ok"), on_loopback(), -1).report.reason, FetchReason::TIMED_OUT);
  EXPECT_EQ(fetch(server.url("/ok"), on_loopback(), 2'000'000'000).body, "text");
}

TEST(AsyncFetcher, ReusesConnectionsWithinAContextAndPolicy) {
  LoopbackServer server;
  server.on("/", answer(200, "text"));
  boost::asio::io_context loop;
  const auto fetch_thrice = [&]() -> boost::asio::awaitable<void> {
    for (int i = 0; i < 3; ++i) (void)co_await AsyncFetcher::get(server.url("/"), 1, on_loopback());
    // The same context, but a request that must not reach the pooled connection.
    try {
      (void)co_await AsyncFetcher::get(server.url("/"), 1);
      ADD_FAILURE() << "fetched from loopback without permission";
    } catch (const FetchError& error) {
      EXPECT_EQ(error.report().reason, FetchReason::REFUSED_ADDRESS);
    }
  };
  boost::asio::co_spawn(loop, fetch_thrice(), [](const std::exception_ptr& error) {
    if (error) std::rethrow_exception(error);
  });
  loop.run();
  EXPECT_EQ(server.connections(), 1);
  EXPECT_EQ(server.paths().size(), 3U);
}

}  // namespace
}  // namespace quillmere::http
