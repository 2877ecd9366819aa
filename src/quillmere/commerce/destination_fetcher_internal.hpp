#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/awaitable.hpp>

#include "quillmere/commerce/html_map.hpp"
#include "quillmere/commerce/semaphore.hpp"
#include "quillmere/http/async_fetcher.hpp"

namespace quillmere::commerce::internal {

/// The number of requests in flight: `max_workers` when it is given and not 0, else the smaller of 32 and four per
/// logical processor. `processors` is what the system reports, 0 when it reports nothing and four are assumed.
[[nodiscard]] int concurrency_of(std::optional<int> max_workers, unsigned processors) noexcept;

/// A URL and what was fetched from it.
using Page = std::pair<std::string, std::optional<std::string>>;

/// An operation with the contract of ScraplingDestinationFetcher::fetch_one, but for what it makes of the body.
using FetchOne = boost::asio::awaitable<Page> (*)(std::string url, Semaphore& sem, int timeout,
                                                  http::FetchOptions options);

/// A FetchOne that gives the body as received.
boost::asio::awaitable<Page> fetch_body(std::string url, Semaphore& sem, int timeout, http::FetchOptions options);

/// ScraplingDestinationFetcher::fetch_many with `fetch_one` for each URL.
boost::asio::awaitable<HtmlMap> fetch_many(FetchOne fetch_one, std::vector<std::string> urls,
                                           std::optional<int> max_workers, int timeout, http::FetchOptions options);

}  // namespace quillmere::commerce::internal
