#pragma once

#include <optional>
#include <string>
#include <vector>

#include <boost/asio/awaitable.hpp>

#include "quillmere/commerce/html_map.hpp"
#include "quillmere/http/async_fetcher.hpp"

namespace quillmere::commerce::internal {

/// The number of requests in flight: `max_workers` when it is given and not 0, else the smaller of 32 and four per
/// logical processor. `processors` is what the system reports, 0 when it reports nothing and four are assumed.
[[nodiscard]] int concurrency_of(std::optional<int> max_workers, unsigned processors) noexcept;

/// What a body that arrived, and is not empty, becomes; absent where it is of no use.
using ReadBody = std::optional<std::string> (*)(std::string body);

/// ScraplingDestinationFetcher::fetch_many, but for what becomes of each body.
boost::asio::awaitable<HtmlMap> fetch_many(ReadBody read_body, std::vector<std::string> urls,
                                           std::optional<int> max_workers, int timeout, http::FetchOptions options);

}  // namespace quillmere::commerce::internal
