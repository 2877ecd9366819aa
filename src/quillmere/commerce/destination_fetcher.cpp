#include "quillmere/commerce/destination_fetcher.hpp"

#include <algorithm>
#include <deque>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <unordered_set>

#include <boost/asio/any_completion_handler.hpp>
#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/associated_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

#include "quillmere/commerce/destination_fetcher_internal.hpp"
#include "quillmere/http/executor_internal.hpp"
#include "quillmere/http/observation_internal.hpp"
#include "quillmere/text/unicode.hpp"

namespace quillmere::commerce {
namespace {

using http::AsyncFetcher;
using http::FetchOptions;
using http::FetchReason;
using http::FetchReport;
using http::internal::tell;
using internal::FetchOne;
using internal::Page;

// Looked up once, whatever becomes of the library later.
bool has_http_layer() noexcept {
  static const bool is_there = AsyncFetcher::is_available();
  return is_there;
}

// Why `url` is no matter for the HTTP layer.
std::optional<FetchReason> refusal_of(std::string_view url) noexcept {
  if (!has_http_layer()) return FetchReason::UNAVAILABLE;
  if (!url.starts_with("http")) return FetchReason::NOT_HTTP;
  return std::nullopt;
}

FetchReport report_of(const std::string& url, FetchReason reason) {
  FetchReport report;
  report.url = url;
  report.reason = reason;
  return report;
}

std::vector<std::string> distinct(std::vector<std::string> urls) {
  std::unordered_set<std::string_view> seen;
  std::vector<bool> is_first(urls.size());
  for (std::size_t i = 0; i < urls.size(); ++i) is_first[i] = seen.insert(urls[i]).second;
  std::vector<std::string> kept;
  kept.reserve(seen.size());
  for (std::size_t i = 0; i < urls.size(); ++i) {
    if (is_first[i]) kept.push_back(std::move(urls[i]));
  }
  return kept;
}

// One `fetch_many` call. Everything happens on its strand. The fetches own it, and it owns whoever waits for the map,
// so that all of it goes when the execution context does. As many fetches as may be in flight exist at a time: each,
// when it ends, makes way for that of the next URL.
class Batch : public std::enable_shared_from_this<Batch> {
 public:
  using Handler = boost::asio::any_completion_handler<void(std::exception_ptr, HtmlMap)>;

  Batch(const boost::asio::any_io_executor& executor, FetchOne fetch_one, std::vector<std::string> urls,
        int concurrency, int timeout, FetchOptions options)
      : _strand(boost::asio::make_strand(executor)),
        _fetch_one(fetch_one),
        _sem(concurrency),
        _urls(std::move(urls)),
        _timeout(timeout),
        _options(std::move(options)),
        _pages(_urls.size()),
        _fetches(std::min(static_cast<std::size_t>(concurrency), _urls.size())) {}

  void start(Handler handler) {
    _handler.swap(handler);  // the move assignment of Boost 1.81 never returns
    boost::asio::dispatch(_strand, [self = shared_from_this()] { self->run(); });
  }

  void cancel() {
    boost::asio::dispatch(_strand, [self = shared_from_this()] {
      self->_is_cancelled = true;
      self->abandon();
    });
  }

 private:
  struct Fetch {
    boost::asio::cancellation_signal cancellation;
    bool is_running = false;
  };

  void run() {
    _running = 1;  // this function
    for (Fetch& fetch : _fetches) go_on(fetch);
    end_one();
  }

  // Lets `fetch`, which is idle, fetch the next URL, if there is one.
  void go_on(Fetch& fetch) {
    if (_is_abandoned || _next == _urls.size()) return;
    try {
      spawn(fetch, _next++);
    } catch (...) {
      fail(std::current_exception());
    }
  }

  void spawn(Fetch& fetch, std::size_t i) {
    boost::asio::co_spawn(
        _strand, _fetch_one(std::move(_urls[i]), _sem, _timeout, _options),
        boost::asio::bind_cancellation_slot(fetch.cancellation.slot(), [self = shared_from_this(), &fetch, i](
                                                                           const std::exception_ptr& error, Page page) {
          fetch.is_running = false;
          self->_pages[i] = std::move(page);
          if (error) self->fail(error);
          self->go_on(fetch);
          self->end_one();
        }));
    fetch.is_running = true;
    ++_running;
  }

  void fail(const std::exception_ptr& error) {
    if (!_error) _error = error;
    abandon();
  }

  void abandon() {
    if (std::exchange(_is_abandoned, true)) return;
    for (; _next < _urls.size(); ++_next) tell(_options, report_of(_urls[_next], FetchReason::CANCELLED));
    for (Fetch& fetch : _fetches) {
      if (fetch.is_running) fetch.cancellation.emit(boost::asio::cancellation_type::terminal);
    }
  }

  void end_one() {
    if (--_running != 0) return;
    HtmlMap pages;
    if (!_error && !_is_cancelled) {
      for (Page& page : _pages) pages.insert(std::move(page.first), std::move(page.second));
    }
    if (_is_cancelled) {
      _error = std::make_exception_ptr(
          boost::system::system_error(boost::asio::error::operation_aborted, "quillmere: fetch"));
    }
    http::internal::resume(std::move(_handler), _error, std::move(pages));
  }

  boost::asio::strand<boost::asio::any_io_executor> _strand;
  FetchOne _fetch_one;
  Semaphore _sem;
  std::vector<std::string> _urls;
  std::size_t _next = 0;  // of the URLs
  int _timeout;
  FetchOptions _options;
  std::vector<Page> _pages;
  std::deque<Fetch> _fetches;
  std::size_t _running = 0;
  bool _is_cancelled = false;
  bool _is_abandoned = false;
  std::exception_ptr _error;
  Handler _handler;
};

struct CancelBatch {
  std::weak_ptr<Batch> running;

  void operator()(boost::asio::cancellation_type) const {
    if (const auto batch = running.lock()) batch->cancel();
  }
};

struct StartBatch {
  FetchOne fetch_one;
  std::vector<std::string> urls;
  int concurrency;
  int timeout;
  FetchOptions options;

  template <typename Handler>
  void operator()(Handler&& handler) {
    // No copy of it stays here: the waiting coroutine must not own what owns it.
    const auto batch = std::make_shared<Batch>(boost::asio::get_associated_executor(handler), fetch_one,
                                               std::move(urls), concurrency, timeout, std::move(options));
    Batch::Handler waiter(std::forward<Handler>(handler));
    auto slot = waiter.get_cancellation_slot();
    if (slot.is_connected()) slot.emplace<CancelBatch>(CancelBatch{batch});
    batch->start(std::move(waiter));
  }
};

}  // namespace

int internal::concurrency_of(std::optional<int> max_workers, unsigned processors) noexcept {
  if (max_workers && *max_workers != 0) return *max_workers;
  const unsigned known = processors == 0 ? 4 : processors;
  return known >= 8 ? 32 : static_cast<int>(4 * known);
}

boost::asio::awaitable<Page> internal::fetch_body(std::string url, Semaphore& sem, int timeout,
                                                  http::FetchOptions options) {
  if (const auto refusal = refusal_of(url)) {
    tell(options, report_of(url, *refusal));
    co_return Page(std::move(url), std::nullopt);
  }
  bool is_told = false;
  FetchOptions own;
  own.allow_private_networks = options.allow_private_networks;
  own.ca_file = options.ca_file;
  own.observer = [&options, &is_told](const FetchReport& report) {
    is_told = true;
    tell(options, report);
  };
  std::optional<std::string> body;
  try {
    const Semaphore::Slot slot = co_await sem.acquire();
    std::optional<http::Response> resp = co_await AsyncFetcher::get(url, timeout, std::move(own));
    if (resp && !resp->empty()) body = std::move(resp->body);
  } catch (const http::FetchError&) {
    // The page is absent, and the observer knows why.
  } catch (const boost::system::system_error&) {
    if (!is_told) tell(options, report_of(url, FetchReason::CANCELLED));
    throw;
  }
  co_return Page(std::move(url), std::move(body));
}

boost::asio::awaitable<Page> ScraplingDestinationFetcher::fetch_one(std::string url, Semaphore& sem, int timeout,
                                                                    http::FetchOptions options) {
  Page page = co_await internal::fetch_body(std::move(url), sem, timeout, std::move(options));
  if (page.second) page.second = text::to_valid_utf8(*std::move(page.second));
  co_return page;
}

boost::asio::awaitable<HtmlMap> ScraplingDestinationFetcher::fetch_many(std::vector<std::string> urls,
                                                                        std::optional<int> max_workers, int timeout,
                                                                        http::FetchOptions options) {
  return internal::fetch_many(fetch_one, std::move(urls), max_workers, timeout, std::move(options));
}

boost::asio::awaitable<HtmlMap> internal::fetch_many(FetchOne fetch_one, std::vector<std::string> urls,
                                                     std::optional<int> max_workers, int timeout,
                                                     http::FetchOptions options) {
  if (!has_http_layer() || urls.empty()) {
    HtmlMap pages;
    for (const std::string& url : distinct(std::move(urls))) {
      tell(options, report_of(url, FetchReason::UNAVAILABLE));
      pages.insert(url, std::nullopt);
    }
    co_return pages;
  }
  const int concurrency = internal::concurrency_of(max_workers, std::thread::hardware_concurrency());
  if (concurrency < 0) throw std::invalid_argument("quillmere: a negative number of workers cannot fetch");
  StartBatch start{fetch_one, distinct(std::move(urls)), concurrency, timeout, std::move(options)};
  co_return co_await boost::asio::async_initiate<const boost::asio::use_awaitable_t<>,
                                                 void(std::exception_ptr, HtmlMap)>(std::move(start),
                                                                                    boost::asio::use_awaitable);
}

}  // namespace quillmere::commerce
