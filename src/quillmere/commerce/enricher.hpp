#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>

#include "quillmere/api.hpp"
#include "quillmere/commerce/destination_fetcher.hpp"
#include "quillmere/commerce/html_map.hpp"
#include "quillmere/models.hpp"

namespace quillmere::commerce {

/// Where page texts come from: URLs in (repetitions included), one entry per distinct URL out. A URL that the map
/// lacks counts as a page that could not be had. What it throws ends the enrichment.
using PageSource = std::function<boost::asio::awaitable<HtmlMap>(std::vector<std::string> urls)>;

/// Pages fetched over HTTP: ScraplingDestinationFetcher::fetch_many with these arguments.
[[nodiscard]] QUILLMERE_API PageSource fetched_pages(std::optional<int> max_workers = std::nullopt, int timeout = 5,
                                                     http::FetchOptions options = {});

/// Pages that the caller already has; nothing is fetched.
[[nodiscard]] QUILLMERE_API PageSource given_pages(HtmlMap pages);

/// How an enrichment may differ from the ordinary one.
struct EnrichOptions {
  /// List-slice count: the first n matches, all but the last k for -k; absent for all.
  std::optional<std::int64_t> max_items = std::nullopt;
  /// Empty for pages fetched over HTTP with the fetcher's defaults, private networks refused.
  PageSource pages = nullptr;
};

/// Visual matches in, commerce intelligence out.
///
/// Matches   any bytes; what is not UTF-8 is read as U+FFFD.
/// Errors    a page that cannot be had or read is no error. Everything else (a malformed network location in a link,
///           what a page source or a relevance function throws) ends the call and reaches the caller unchanged, with
///           no partial result.
/// Threads   any; calls share nothing but the relevance functions in force.
class QUILLMERE_API CommerceEnricher {
 public:
  /// Blocks until the result is there; from a thread that runs an event loop too (see _run_coroutine).
  ///
  ///     auto result = CommerceEnricher::process({{.link = "https://shop.example/p/1", .title = "Shoe"}});
  [[nodiscard]] static CommerceIntelligence process(std::vector<VisualMatch> matches, EnrichOptions options = {});

  /// The same as an operation of the caller's loop. Cancelling it cancels the fetches that it started.
  [[nodiscard]] static boost::asio::awaitable<CommerceIntelligence> process_async(std::vector<VisualMatch> matches,
                                                                                  EnrichOptions options = {});

  /// The enriched records alone, not graded for relevance, in the order of the input.
  [[nodiscard]] static boost::asio::awaitable<std::vector<EnrichedCommerceMatch>> enrich_matches_deep_async(
      std::vector<VisualMatch> matches, std::optional<std::int64_t> max_items = std::nullopt, PageSource pages = {});
};

/// Whether the calling thread is inside an Asio event loop (is running an io_context or a thread pool).
[[nodiscard]] QUILLMERE_API bool _runs_event_loop() noexcept;

/// Calls `work` in place, or, when the calling thread runs an event loop, on one other thread that is joined before
/// this returns. What `work` throws is thrown here.
QUILLMERE_API void _run_off_loop(const std::function<void()>& work);

/// Runs `coro` to its end on an event loop made for it and gives its result, or throws its error unchanged.
///
/// On a thread that runs an event loop, that happens on one other thread while the caller blocks, so that no loop
/// ever waits for itself. Operations still pending when `coro` ends are cancelled. `Result` is default-constructible.
template <typename Result>
Result _run_coroutine(boost::asio::awaitable<Result> coro) {
  std::exception_ptr error;
  Result result{};
  _run_off_loop([&] {
    boost::asio::io_context loop(1);
    boost::asio::co_spawn(loop, std::move(coro), [&](std::exception_ptr failure, Result value) {
      error = std::move(failure);
      result = std::move(value);
      loop.stop();
    });
    loop.run();
  });
  if (error) std::rethrow_exception(error);
  return result;
}

}  // namespace quillmere::commerce
