// A build without an HTTP layer: this program brings its own, which is not there.

#include <vector>

#include "tests/support/fetching.hpp"
#include <gtest/gtest.h>

#include "quillmere/commerce/destination_fetcher.hpp"

namespace quillmere {

bool http::AsyncFetcher::is_available() noexcept {
  return false;
}

boost::asio::awaitable<std::optional<http::Response>> http::AsyncFetcher::get(std::string, int, http::FetchOptions) {
  ADD_FAILURE() << "a request without an HTTP layer";
  co_return std::nullopt;
}

namespace commerce {
namespace {

TEST(DestinationFetcher, GivesAbsentPagesWithoutAnHttpLayer) {
  std::vector<http::FetchReason> reasons;
  http::FetchOptions options;
  options.observer = [&](const http::FetchReport& report) { reasons.push_back(report.reason); };
  const HtmlMap pages = testing::run(
      ScraplingDestinationFetcher::fetch_many({"http://a.test/", "http://a.test/", "http://b.test/"}, -1, 5, options));
  ASSERT_EQ(pages.size(), 2U);
  EXPECT_EQ(pages.begin()[0], HtmlMap::value_type("http://a.test/", std::nullopt));
  EXPECT_EQ(pages.begin()[1], HtmlMap::value_type("http://b.test/", std::nullopt));

  Semaphore none(0);
  const auto page = testing::run(ScraplingDestinationFetcher::fetch_one("http://a.test/", none, 5, options));
  EXPECT_EQ(page, HtmlMap::value_type("http://a.test/", std::nullopt));
  EXPECT_EQ(reasons, std::vector(3, http::FetchReason::UNAVAILABLE));
}

}  // namespace
}  // namespace commerce
}  // namespace quillmere
