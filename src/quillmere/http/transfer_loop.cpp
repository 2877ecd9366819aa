#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <system_error>
#include <unistd.h>
#include <utility>

#include <boost/asio/post.hpp>
#include <sys/epoll.h>
#include <sys/timerfd.h>

#include "quillmere/http/executor_internal.hpp"
#include "quillmere/http/transfer_loop_internal.hpp"

namespace quillmere::http::internal {
namespace {

constexpr int MAX_EVENTS = 64;
constexpr std::size_t MAX_IDLE_HANDLES = 64;
// Idle connections kept for later requests, over all hosts.
constexpr long MAX_IDLE_CONNECTIONS = 64;
// Timeouts that are due are served in a row, but not for ever.
constexpr int MAX_TIMEOUT_ROUNDS = 16;
// TLS records that one call into libcurl may read, unless it takes no longer than this.
constexpr int MAX_TURN_RECORDS = 256;
constexpr std::chrono::milliseconds MAX_TURN_TIME{250};

int checked(int descriptor) {
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "quillmere: cannot wait for sockets");
  return descriptor;
}

int open_epoll_set(boost::asio::posix::stream_descriptor& owner) {
  Descriptor set(checked(::epoll_create1(EPOLL_CLOEXEC)));
  owner.assign(set.get());
  return set.release();
}

int curl_events(std::uint32_t events) {
  int bits = 0;
  if (events & EPOLLIN) bits |= CURL_CSELECT_IN;
  if (events & EPOLLOUT) bits |= CURL_CSELECT_OUT;
  if (events & (EPOLLERR | EPOLLHUP)) bits |= CURL_CSELECT_ERR;
  return bits;
}

// Cancels a transfer that may be long gone, as may its loop.
struct CancelTransfer {
  std::weak_ptr<TransferLoop> loop;
  std::weak_ptr<Transfer> transfer;

  void operator()(boost::asio::cancellation_type) const {
    const auto live_loop = loop.lock();
    const auto live_transfer = transfer.lock();
    if (live_loop && live_transfer) live_loop->stop(live_transfer, FetchReason::CANCELLED);
  }
};

}  // namespace

void Descriptor::close() noexcept {
  if (_descriptor >= 0) ::close(std::exchange(_descriptor, -1));
}

TransferLoop::TransferLoop(const boost::asio::any_io_executor& executor, bool allow_private_networks)
    : _executor(executor),
      _allow_private_networks(allow_private_networks),
      _events(std::in_place, executor),
      _sockets(open_epoll_set(*_events)),
      _alarm(checked(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC))),
      _multi(curl_multi_init()) {
  if (!_multi) throw std::bad_alloc();
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = _alarm.get();
  checked(::epoll_ctl(_events->native_handle(), EPOLL_CTL_ADD, _alarm.get(), &event));
  _idle.reserve(MAX_IDLE_HANDLES);
  curl_multi_setopt(_multi.get(), CURLMOPT_SOCKETFUNCTION, &TransferLoop::on_socket);
  curl_multi_setopt(_multi.get(), CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(_multi.get(), CURLMOPT_TIMERFUNCTION, &TransferLoop::on_timer);
  curl_multi_setopt(_multi.get(), CURLMOPT_TIMERDATA, this);
  curl_multi_setopt(_multi.get(), CURLMOPT_MAXCONNECTS, MAX_IDLE_CONNECTIONS);
}

TransferLoop::~TransferLoop() {
  shut_down();
}

void TransferLoop::start(const std::shared_ptr<Transfer>& transfer) {
  {
    const std::lock_guard lock(_mutex);
    if (_is_down) return;
    // Not at once: those that take the places of transfers which ended together are sent in a row. Sent one by one,
    // each would wake its server for itself, which is a good part of what a small page costs.
    if (!_is_turn_due) boost::asio::post(_executor, [this] { take_turn(); });
    _is_turn_due = true;
    if (begin(transfer)) return;
  }
  transfer->deliver(false);
}

void TransferLoop::stop(const std::shared_ptr<Transfer>& transfer, FetchReason reason) {
  {
    const std::lock_guard lock(_mutex);
    if (!transfer->active) return;
    transfer->conclude(CURLE_OK, reason);
    detach(*transfer);
    if (_active.empty()) _events->cancel();
  }
  transfer->deliver(false);
}

void TransferLoop::shut_down() {
  std::vector<std::shared_ptr<Transfer>> dropped;
  {
    const std::lock_guard lock(_mutex);
    if (std::exchange(_is_down, true)) return;
    dropped.swap(_active);
    for (const auto& transfer : dropped) {
      curl_multi_remove_handle(_multi.get(), transfer->easy.get());
      transfer->easy.reset();
      transfer->active = false;
    }
    _idle.clear();
    _multi.reset();
    _events.reset();
    _alarm.close();
  }
  // Destroying a handler destroys the coroutine that waits, and so runs a caller's destructors.
  for (const auto& transfer : dropped) transfer->handler = nullptr;
}

void TransferLoop::take_turn() {
  Finished finished;
  {
    const std::lock_guard lock(_mutex);
    _is_turn_due = false;
    if (_is_down) return;
    drive_timeouts();
    collect(finished);
    drive_limits(finished);
    rest();
  }
  for (const auto& each : finished) each->deliver(true);
}

void TransferLoop::on_ready() {
  {
    const std::lock_guard lock(_mutex);
    _is_waiting = false;
    if (_is_down) return;
    drive_sockets();
  }
  take_turn();
}

bool TransferLoop::begin(const std::shared_ptr<Transfer>& transfer) {
  if (transfer->total_time.count() == 0) {
    transfer->conclude(CURLE_OK, FetchReason::TIMED_OUT);
    return false;
  }
  if (!transfer->prepare(take_easy(), _sockets)) {
    transfer->conclude(CURLE_OK, FetchReason::BAD_URL);
    return false;
  }
  _active.reserve(_active.size() + 1);
  if (curl_multi_add_handle(_multi.get(), transfer->easy.get()) != CURLM_OK) {
    transfer->conclude(CURLE_OUT_OF_MEMORY);
    return false;
  }
  transfer->index = _active.size();
  transfer->active = true;
  _active.push_back(transfer);
  transfer->limit = Clock::now() + transfer->total_time;
  _next_limit = std::min(_next_limit.value_or(transfer->limit), transfer->limit);
  return true;
}

void TransferLoop::drive(curl_socket_t socket, int events) {
  _turn_begin = Clock::now();
  _turn_records = 0;
  int running = 0;
  curl_multi_socket_action(_multi.get(), socket, events, &running);
}

void TransferLoop::drive_sockets() {
  std::array<epoll_event, MAX_EVENTS> events{};
  const int count = ::epoll_wait(_events->native_handle(), events.data(), MAX_EVENTS, 0);
  for (int i = 0; i < count; ++i) {
    const epoll_event& event = events[static_cast<std::size_t>(i)];
    if (event.data.fd == _alarm.get()) {
      std::uint64_t expirations = 0;
      if (::read(_alarm.get(), &expirations, sizeof expirations) > 0) _alarm_time.reset();
      continue;
    }
    if (_sockets.is_waited_for(event.data.fd)) drive(event.data.fd, curl_events(event.events));
  }
}

void TransferLoop::drive_timeouts() {
  for (int round = 0; round < MAX_TIMEOUT_ROUNDS && _deadline && *_deadline <= Clock::now(); ++round) {
    _deadline.reset();
    drive(CURL_SOCKET_TIMEOUT, 0);
  }
}

// libcurl ends a request at its own limit. This ends, a second later, what libcurl does not.
void TransferLoop::drive_limits(Finished& finished) {
  const Clock::time_point now = Clock::now();
  if (!_next_limit || *_next_limit > now) return;
  _next_limit.reset();
  for (std::size_t place = 0; place < _active.size();) {
    const std::shared_ptr<Transfer> transfer = _active[place];
    if (transfer->limit <= now) {
      transfer->conclude(CURLE_OK, FetchReason::TIMED_OUT);
      detach(*transfer);  // another one takes its place
      finished.push_back(transfer);
    } else {
      _next_limit = std::min(_next_limit.value_or(transfer->limit), transfer->limit);
      ++place;
    }
  }
}

void TransferLoop::collect(Finished& finished) {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(_multi.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    void* user = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &user);
    Transfer& transfer = *static_cast<Transfer*>(user);
    finished.push_back(_active[transfer.index]);
    transfer.conclude(message->data.result);
    detach(transfer);
  }
}

void TransferLoop::detach(Transfer& transfer) {
  curl_multi_remove_handle(_multi.get(), transfer.easy.get());
  // Every option that `prepare` sets it sets for each request, but for the authorities.
  if (transfer.ca_file.empty() && _idle.size() < MAX_IDLE_HANDLES) {
    _idle.push_back(std::move(transfer.easy));
  } else {
    transfer.easy.reset();
  }
  transfer.active = false;
  const std::size_t place = transfer.index;  // `transfer` may be gone when its place is taken
  if (place + 1 != _active.size()) {
    _active[place] = std::move(_active.back());
    _active[place]->index = place;
  }
  _active.pop_back();
}

void TransferLoop::rest() {
  set_alarm();
  if (_active.empty() || _is_waiting) return;
  _is_waiting = true;
  _events->async_wait(boost::asio::posix::stream_descriptor::wait_read,
                      [this](const boost::system::error_code&) { on_ready(); });
}

void TransferLoop::set_alarm() {
  // An alarm that comes too early costs one idle turn, less than a system call for each of libcurl's changes of mind.
  std::optional<Clock::time_point> wanted = _deadline;
  if (_next_limit) wanted = std::min(wanted.value_or(*_next_limit), *_next_limit);
  if (!wanted || (_alarm_time && *_alarm_time <= *wanted)) return;
  const auto wait = std::max<std::chrono::nanoseconds>(*wanted - Clock::now(), std::chrono::nanoseconds(1));
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(wait);
  itimerspec alarm{};
  alarm.it_value.tv_sec = seconds.count();
  alarm.it_value.tv_nsec = (wait - seconds).count();
  if (::timerfd_settime(_alarm.get(), 0, &alarm, nullptr) == 0) _alarm_time = wanted;
}

Easy TransferLoop::take_easy() {
  if (_idle.empty()) {
    Easy easy = make_easy(_allow_private_networks);
    curl_easy_setopt(easy.get(), CURLOPT_CLOSESOCKETFUNCTION, &TransferLoop::close_socket);
    curl_easy_setopt(easy.get(), CURLOPT_CLOSESOCKETDATA, &_sockets);
    curl_easy_setopt(easy.get(), CURLOPT_DEBUGFUNCTION, &TransferLoop::on_trace);
    curl_easy_setopt(easy.get(), CURLOPT_DEBUGDATA, this);
    return easy;
  }
  Easy easy = std::move(_idle.back());
  _idle.pop_back();
  return easy;
}

int TransferLoop::on_socket(CURL*, curl_socket_t socket, int what, void* user, void*) noexcept {
  static_cast<TransferLoop*>(user)->_sockets.wait_for(socket, what);
  return 0;
}

int TransferLoop::close_socket(void* sockets, curl_socket_t socket) noexcept {
  return static_cast<SocketSet*>(sockets)->close(socket);
}

int TransferLoop::on_timer(CURLM*, long milliseconds, void* user) noexcept {
  TransferLoop& loop = *static_cast<TransferLoop*>(user);
  if (milliseconds < 0) {
    loop._deadline.reset();
  } else {
    loop._deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  }
  return 0;
}

// Over HTTP/2 libcurl reads until something of the answer is there. A server that sends other frames, or empty ones, as
// fast as they are read would keep it in one call for ever, where no time limit is looked at; of all callbacks only
// this one is called then. Its connection is cut.
int TransferLoop::on_trace(CURL* easy, curl_infotype kind, char*, std::size_t, void* user) noexcept {
  TransferLoop& loop = *static_cast<TransferLoop*>(user);
  if (kind != CURLINFO_SSL_DATA_IN || ++loop._turn_records % MAX_TURN_RECORDS != 0) return 0;
  if (Clock::now() - loop._turn_begin <= MAX_TURN_TIME) return 0;
  long port = 0;  // libcurl does not tell the socket of a transfer that still runs, but the port at this end
  curl_easy_getinfo(easy, CURLINFO_LOCAL_PORT, &port);
  loop._sockets.cut(port);
  return 0;
}

TransferService::TransferService(boost::asio::execution_context& context) : service(context) {}

TransferService::~TransferService() = default;

std::shared_ptr<TransferLoop> TransferService::loop(const boost::asio::any_io_executor& executor,
                                                    bool allow_private_networks) {
  const std::lock_guard lock(_mutex);
  std::shared_ptr<TransferLoop>& loop = _loops[allow_private_networks ? 1 : 0];
  if (!loop) loop = std::make_shared<TransferLoop>(without_strand(executor), allow_private_networks);
  return loop;
}

void TransferService::shutdown() {
  for (const auto& loop : _loops) {
    if (loop) loop->shut_down();
  }
}

void begin_request(boost::asio::any_io_executor turn, std::string url, int timeout, const FetchOptions& options,
                   Transfer::Handler handler) {
  auto& context = boost::asio::query(turn, boost::asio::execution::context);
  std::shared_ptr<TransferLoop> loop;
  std::exception_ptr error;
  try {
    loop = boost::asio::use_service<TransferService>(context).loop(turn, options.allow_private_networks);
  } catch (const std::bad_alloc&) {
    error = std::current_exception();
  } catch (const std::exception&) {
    // No descriptor is left to wait for sockets with, to this layer or to Asio: FetchReason::FAILED.
  }
  if (!loop) {
    Outcome failure;
    failure.report.url = std::move(url);
    resume_later(without_strand(turn), std::move(handler), error, std::move(failure));
    return;
  }
  const auto transfer = std::make_shared<Transfer>(loop->executor(), std::move(url), timeout, options.ca_file);
  transfer->handler.swap(handler);  // the move assignment of Boost 1.81 never returns
  auto slot = transfer->handler.get_cancellation_slot();
  if (slot.is_connected()) slot.emplace<CancelTransfer>(CancelTransfer{loop, transfer});
  loop->start(transfer);
}

}  // namespace quillmere::http::internal
