#pragma once

#include <chrono>
#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include <boost/asio/any_completion_handler.hpp>
#include <boost/asio/any_io_executor.hpp>
#include <curl/curl.h>

#include "quillmere/http/async_fetcher.hpp"
#include "quillmere/http/socket_set_internal.hpp"

/// One request on libcurl: what it is asked, what its callbacks count, and what its end means.
namespace quillmere::http::internal {

struct Outcome {
  FetchReport report;
  std::string body;
};

struct EasyCleanup {
  void operator()(CURL* easy) const noexcept { curl_easy_cleanup(easy); }
};
using Easy = std::unique_ptr<CURL, EasyCleanup>;

/// A handle with every option set that does not depend on the request. Throws std::bad_alloc.
[[nodiscard]] Easy make_easy(bool allow_private_networks);

/// The state of one request. Its TransferLoop guards it with a mutex from `start` on.
class Transfer {
 public:
  using Handler = boost::asio::any_completion_handler<void(std::exception_ptr, Outcome)>;
  using Clock = std::chrono::steady_clock;

  Transfer(boost::asio::any_io_executor executor, std::string url, int timeout, std::string ca_file);

  /// Sets what depends on the request, whose connections `sockets` opens. False when libcurl does not take the URL.
  /// Throws std::bad_alloc.
  [[nodiscard]] bool prepare(Easy easy, SocketSet& sockets);

  /// Judges the end of the transfer by libcurl's `code`, or by `reason` when it was ended from outside.
  void conclude(CURLcode code, std::optional<FetchReason> reason = std::nullopt);

  /// Hands the outcome to whoever waits for it; `in_place` lets that run before this returns. Call without a lock.
  void deliver(bool in_place);

  Handler handler;
  Easy easy;
  std::chrono::milliseconds request_time;  ///< the request's own limit, 0 for none
  std::chrono::milliseconds total_time;    ///< the outer limit
  Clock::time_point limit;                 ///< when `total_time` is over; set when the transfer begins
  std::string ca_file;
  std::size_t index = 0;  ///< place among the active transfers of the loop
  bool active = false;

 private:
  friend struct TransferCallbacks;

  [[nodiscard]] FetchReason reason_of(CURLcode code) const;
  [[nodiscard]] bool is_header_too_long() const;
  void map_ahead() noexcept;

  boost::asio::any_io_executor _executor;
  Outcome _outcome;
  std::exception_ptr _error;
  SocketSet* _sockets = nullptr;
  Clock::time_point _begin = Clock::now();

  // What the callbacks saw.
  std::optional<FetchReason> _fault;         // why a callback ended the transfer
  std::optional<FetchReason> _last_refusal;  // why the guard refused the last socket, if it did
  std::size_t _mapped_bytes = 0;             // of the body's memory
  std::size_t _header_bytes = 0;             // of the current response
  int _status = 0;                           // of the current response, 1xx included
  int _codings = 0;                          // of the current response's body
  bool _leaves_the_web = false;              // the current response redirects to another scheme than http and https
};

}  // namespace quillmere::http::internal
