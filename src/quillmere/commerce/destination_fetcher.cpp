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
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

#include "quillmere/commerce/destination_fetcher_internal.hpp"
#include "quillmere/http/executor_internal.hpp"
#include "quillmere/http/observation_internal.hpp"
#include "quillmere/http/transfer_loop_internal.hpp"
#include "quillmere/text/unicode.hpp"

namespace quillmere::commerce {
namespace {

using http::AsyncFetcher;
using http::FetchOptions;
using http::FetchReason;
using http::FetchReport;
using http::internal::Outcome;
using http::internal::tell;
using internal::ReadBody;

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

std::optional<std::string> read_page(std::string body) {
  return text::to_valid_utf8(std::move(body));
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

// One `fetch_many` call. Everything happens on its strand. The requests own it, and it owns whoever waits for the map,
// so that all of it goes when the execution context does. As many requests as may be in flight exist at a time: each,
// when it ends, makes way for that of the next URL.
class Batch : public std::enable_shared_from_this<Batch> {
 public:
  using Handler = boost::asio::any_completion_handler<void(std::exception_ptr, HtmlMap)>;

  Batch(const boost::asio::any_io_executor& executor, ReadBody read_body, std::vector<std::string> urls,
        int concurrency, int timeout, FetchOptions options)
      : _strand(boost::asio::make_strand(executor)),
        _read_body(read_body),
        _urls(std::move(urls)),
        _timeout(timeout),
        _options(std::move(options)),
        _texts(_urls.size()),
        _workers(std::min(static_cast<std::size_t>(concurrency), _urls.size())) {}

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
  struct Worker {
    boost::asio::cancellation_signal cancellation;
    bool is_running = false;
  };

  void run() {
    _running = 1;  // this function
    for (Worker& worker : _workers) go_on(worker);
    end_one();
  }

  // Lets `worker`, which is idle, fetch the next URL, if there is one.
  void go_on(Worker& worker) {
    while (!_is_abandoned && !worker.is_running && _next != _urls.size()) {
      const std::size_t i = _next++;
      if (const auto refusal = refusal_of(_urls[i])) {
        tell(_options, report_of(_urls[i], *refusal));
        continue;
      }
      try {
        begin(worker, i);
      } catch (...) {
        fail(std::current_exception());
      }
    }
  }

  void begin(Worker& worker, std::size_t i) {
    auto end = boost::asio::bind_cancellation_slot(
        worker.cancellation.slot(),
        [self = shared_from_this(), &worker, i](const std::exception_ptr& error, Outcome outcome) {
          self->end(worker, i, error, std::move(outcome));
        });
    http::internal::begin_request(_strand, _urls[i], _timeout, _options,
                                  boost::asio::bind_executor(_strand, std::move(end)));
    worker.is_running = true;
    ++_running;
  }

  void end(Worker& worker, std::size_t i, const std::exception_ptr& error, Outcome outcome) {
    worker.is_running = false;
    if (error) {
      fail(error);
    } else {
      tell(_options, outcome.report);
      try {
        if (outcome.report.reason == FetchReason::FETCHED) _texts[i] = _read_body(std::move(outcome.body));
      } catch (...) {
        fail(std::current_exception());
      }
    }
    go_on(worker);
    end_one();
  }

  void fail(const std::exception_ptr& error) {
    if (!_error) _error = error;
    abandon();
  }

  void abandon() {
    if (std::exchange(_is_abandoned, true)) return;
    for (; _next < _urls.size(); ++_next) tell(_options, report_of(_urls[_next], FetchReason::CANCELLED));
    for (Worker& worker : _workers) {
      if (worker.is_running) worker.cancellation.emit(boost::asio::cancellation_type::terminal);
    }
  }

  void end_one() {
    if (--_running != 0) return;
    HtmlMap pages;
    if (!_error && !_is_cancelled) {
      for (std::size_t i = 0; i < _urls.size(); ++i) pages.insert(std::move(_urls[i]), std::move(_texts[i]));
    }
    if (_is_cancelled) {
      _error = std::make_exception_ptr(
          boost::system::system_error(boost::asio::error::operation_aborted, "quillmere: fetch"));
    }
    http::internal::resume(std::move(_handler), _error, std::move(pages));
  }

  boost::asio::any_io_executor _strand;
  ReadBody _read_body;
  std::vector<std::string> _urls;
  std::size_t _next = 0;  // of the URLs
  int _timeout;
  FetchOptions _options;
  std::vector<std::optional<std::string>> _texts;  // of the URLs
  std::deque<Worker> _workers;
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
  ReadBody read_body;
  std::vector<std::string> urls;
  int concurrency;
  int timeout;
  FetchOptions options;

  template <typename Handler>
  void operator()(Handler&& handler) {
    // No copy of it stays here: the waiting coroutine must not own what owns it.
    const auto batch = std::make_shared<Batch>(boost::asio::get_associated_executor(handler), read_body,
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

boost::asio::awaitable<std::pair<std::string, std::optional<std::string>>> ScraplingDestinationFetcher::fetch_one(
    std::string url, Semaphore& sem, int timeout, http::FetchOptions options) {
  std::optional<std::string> text;
  if (const auto refusal = refusal_of(url)) {
    tell(options, report_of(url, *refusal));
    co_return std::pair(std::move(url), std::move(text));
  }
  bool is_told = false;
  FetchOptions own;
  own.allow_private_networks = options.allow_private_networks;
  own.ca_file = options.ca_file;
  own.observer = [&options, &is_told](const FetchReport& report) {
    is_told = true;
    tell(options, report);
  };
  try {
    const Semaphore::Slot slot = co_await sem.acquire();
    std::optional<http::Response> resp = co_await AsyncFetcher::get(url, timeout, std::move(own));
    if (resp && !resp->empty()) text = read_page(std::move(resp->body));
  } catch (const http::FetchError&) {
    // The page is absent, and the observer knows why.
  } catch (const boost::system::system_error&) {
    if (!is_told) tell(options, report_of(url, FetchReason::CANCELLED));
    throw;
  }
  co_return std::pair(std::move(url), std::move(text));
}

boost::asio::awaitable<HtmlMap> ScraplingDestinationFetcher::fetch_many(std::vector<std::string> urls,
                                                                        std::optional<int> max_workers, int timeout,
                                                                        http::FetchOptions options) {
  return internal::fetch_many(read_page, std::move(urls), max_workers, timeout, std::move(options));
}

boost::asio::awaitable<HtmlMap> internal::fetch_many(ReadBody read_body, std::vector<std::string> urls,
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
  StartBatch start{read_body, distinct(std::move(urls)), concurrency, timeout, std::move(options)};
  co_return co_await boost::asio::async_initiate<const boost::asio::use_awaitable_t<>,
                                                 void(std::exception_ptr, HtmlMap)>(std::move(start),
                                                                                    boost::asio::use_awaitable);
}

}  // namespace quillmere::commerce
