#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/awaitable.hpp>

#include "quillmere/api.hpp"
#include "quillmere/commerce/html_map.hpp"
#include "quillmere/commerce/semaphore.hpp"
#include "quillmere/http/async_fetcher.hpp"

namespace quillmere::commerce {

/// Destination pages, fetched concurrently, a page that cannot be had being an absent text and never an error.
///
/// Text     the body read as UTF-8 whatever the page says of itself, each maximal invalid part made U+FFFD. Status and
///          content type are not looked at: the text of a 404 is a text, and so is an image.
/// Reports  `options.observer` sees each URL once, also those that never reach the network.
/// Threads  any; nothing is kept between calls but the connections of the execution context.
class QUILLMERE_API ScraplingDestinationFetcher {
 public:
  /// Fetches one page under a slot of `sem` and gives the pair (`url`, page text).
  ///
  /// The slot is taken only when `url` begins with "http" (case-sensitive), and given back on every path. From then on
  /// the page has `timeout` seconds, and `timeout` + 1 at the very most; there is no retry.
  /// Throws when cancelled (boost::system::system_error, operation_aborted) or out of memory, for no page's sake.
  /// `sem` must live until the operation has ended.
  static boost::asio::awaitable<std::pair<std::string, std::optional<std::string>>> fetch_one(
      std::string url, Semaphore& sem, int timeout = 5, http::FetchOptions options = {});

  /// Fetches each distinct URL once and gives the map from URL to page text, in first-occurrence order.
  ///
  /// `max_workers` is the number of requests in flight; absent or 0 is the smaller of 32 and four per logical
  /// processor. Requests start in the order of the URLs. n distinct URLs take at most ceil(n / workers) * (`timeout` +
  /// 1) seconds, and the time to decode them. Cancelling (terminal, through the coroutine's slot) cancels every fetch
  /// and then throws boost::system::system_error(operation_aborted); there is no partial map. Throws
  /// std::invalid_argument, before any request, when `max_workers` is negative and there is something to fetch.
  ///
  ///     HtmlMap pages = co_await ScraplingDestinationFetcher::fetch_many(urls);
  static boost::asio::awaitable<HtmlMap> fetch_many(std::vector<std::string> urls,
                                                    std::optional<int> max_workers = std::nullopt, int timeout = 5,
                                                    http::FetchOptions options = {});
};

}  // namespace quillmere::commerce
