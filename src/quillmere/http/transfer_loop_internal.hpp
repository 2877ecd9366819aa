#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/execution_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <curl/curl.h>

#include "quillmere/http/socket_set_internal.hpp"
#include "quillmere/http/transfer_internal.hpp"

/// libcurl's multi interface on an Asio execution context.
namespace quillmere::http::internal {

/// A file descriptor with an owner.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) noexcept : _descriptor(descriptor) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { close(); }

  void close() noexcept;
  [[nodiscard]] int release() noexcept { return std::exchange(_descriptor, -1); }
  [[nodiscard]] int get() const noexcept { return _descriptor; }

 private:
  int _descriptor;
};

/// Drives the transfers of one execution context under one address policy.
///
/// libcurl's sockets and its timer live in an epoll set of their own, and Asio waits for that set's descriptor alone:
/// its own bookkeeping for each of libcurl's sockets would cost more than the transfers do. The wait stands only
/// while there are transfers, so that the context runs out of work when they end.
///
/// Threads: the context may be run by several; a mutex guards everything, and no waiter is called under it.
class TransferLoop {
 public:
  /// `executor` is where the loop's own handlers run. Throws std::bad_alloc, std::system_error when the process is out
  /// of descriptors.
  TransferLoop(const boost::asio::any_io_executor& executor, bool allow_private_networks);
  TransferLoop(const TransferLoop&) = delete;
  TransferLoop& operator=(const TransferLoop&) = delete;
  ~TransferLoop();

  /// Begins `transfer`, whose handler is set; that is called through its executor, never from within this call.
  void start(const std::shared_ptr<Transfer>& transfer);

  /// Ends `transfer` with `reason`, unless it has ended.
  void stop(const std::shared_ptr<Transfer>& transfer, FetchReason reason);

  /// Drops all transfers with their handlers; nothing starts any more.
  void shut_down();

  [[nodiscard]] const boost::asio::any_io_executor& executor() const noexcept { return _executor; }

 private:
  using Clock = std::chrono::steady_clock;
  using Finished = std::vector<std::shared_ptr<Transfer>>;

  void on_ready();
  void take_turn();

  // The mutex is held when these are called.
  [[nodiscard]] bool begin(const std::shared_ptr<Transfer>& transfer);
  void drive(curl_socket_t socket, int events);
  void drive_sockets();
  void drive_timeouts();
  void drive_limits(Finished& finished);
  void collect(Finished& finished);
  void detach(Transfer& transfer);
  void rest();
  void set_alarm();
  [[nodiscard]] Easy take_easy();
  static int on_socket(CURL* easy, curl_socket_t socket, int what, void* loop, void* unused) noexcept;
  static int close_socket(void* sockets, curl_socket_t socket) noexcept;
  static int on_timer(CURLM* multi, long milliseconds, void* loop) noexcept;
  static int on_trace(CURL* easy, curl_infotype kind, char* bytes, std::size_t size, void* loop) noexcept;

  struct MultiCleanup {
    void operator()(CURLM* multi) const noexcept { curl_multi_cleanup(multi); }
  };

  std::mutex _mutex;
  boost::asio::any_io_executor _executor;
  const bool _allow_private_networks;
  // The epoll set; absent once shut down, for Asio deletes the service behind it before this loop.
  std::optional<boost::asio::posix::stream_descriptor> _events;
  SocketSet _sockets;  // in it
  Descriptor _alarm;   // the timerfd in it
  std::unique_ptr<CURLM, MultiCleanup> _multi;
  std::vector<std::shared_ptr<Transfer>> _active;
  std::vector<Easy> _idle;
  std::optional<Clock::time_point> _deadline;    // when libcurl wants to be called
  std::optional<Clock::time_point> _next_limit;  // no later than the first limit of the active transfers
  std::optional<Clock::time_point> _alarm_time;  // when the timerfd fires, possibly earlier
  Clock::time_point _turn_begin;                 // of the call into libcurl that runs
  int _turn_records = 0;                         // that it has read
  bool _is_waiting = false;                      // for the epoll set
  bool _is_turn_due = false;                     // a posted one
  bool _is_down = false;
};

/// Owns the loops of one execution context.
///
/// One loop for each address policy: a pooled connection that was made for a request which may enter private networks
/// must never serve one which may not.
class TransferService : public boost::asio::execution_context::service {
 public:
  using key_type = TransferService;
  static inline boost::asio::execution_context::id id;

  explicit TransferService(boost::asio::execution_context& context);
  ~TransferService() override;

  /// The loop for that policy, made by the first call with `executor`, one of this context.
  [[nodiscard]] std::shared_ptr<TransferLoop> loop(const boost::asio::any_io_executor& executor,
                                                   bool allow_private_networks);

 private:
  void shutdown() override;

  std::mutex _mutex;
  std::shared_ptr<TransferLoop> _loops[2];
};

/// Begins what AsyncFetcher::get does, for those who need no coroutine; AsyncFetcher::is_available() holds.
///
/// `handler` is called once, through its executor, never from within this call, and tells its caller's observer itself.
/// Its cancellation slot (terminal) ends the request with FetchReason::CANCELLED. `turn` is an executor of the context
/// whose connections are used. Throws std::bad_alloc.
void begin_request(boost::asio::any_io_executor turn, std::string url, int timeout, const FetchOptions& options,
                   Transfer::Handler handler);

}  // namespace quillmere::http::internal
