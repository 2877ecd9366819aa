#include "quillmere/commerce/semaphore.hpp"

#include <algorithm>
#include <atomic>
#include <deque>
#include <exception>
#include <list>
#include <mutex>
#include <stdexcept>
#include <utility>

#include <boost/asio/any_completion_handler.hpp>
#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/associated_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/execution_context.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/error_code.hpp>

#include "quillmere/http/executor_internal.hpp"

namespace quillmere::commerce {

struct Semaphore::State {
  std::mutex mutex;
  int free = 0;  // not 0 only while nobody waits
  std::deque<std::shared_ptr<Waiter>> queue;
};

// A coroutine in the queue. Whoever claims it first (a release, a cancellation, the end of its context or of the
// semaphore) decides about it.
struct Semaphore::Waiter {
  using Handler = boost::asio::any_completion_handler<void(boost::system::error_code, Slot)>;

  Handler handler;
  boost::asio::any_io_executor executor;  // without strand
  std::weak_ptr<State> state;
  WaitingRoom* room = nullptr;  // outlives every waiter that is not claimed
  std::list<std::shared_ptr<Waiter>>::iterator place;
  std::atomic<bool> is_claimed = false;

  bool claim() noexcept { return !is_claimed.exchange(true); }
  void resume(boost::system::error_code error, Slot slot);
};

// The waiters of one execution context, so that they go with it.
class Semaphore::WaitingRoom : public boost::asio::execution_context::service {
 public:
  using key_type = WaitingRoom;
  static inline boost::asio::execution_context::id id;

  explicit WaitingRoom(boost::asio::execution_context& context) : service(context) {}

  void enter(const std::shared_ptr<Waiter>& waiter) {
    const std::lock_guard lock(_mutex);
    waiter->place = _waiters.insert(_waiters.end(), waiter);
  }

  void leave(Waiter& waiter) {
    const std::lock_guard lock(_mutex);
    _waiters.erase(waiter.place);
  }

 private:
  void shutdown() override {
    std::list<std::shared_ptr<Waiter>> left;
    {
      const std::lock_guard lock(_mutex);
      left.swap(_waiters);
    }
    for (const auto& waiter : left) {
      if (waiter->claim()) waiter->handler = nullptr;
    }
  }

  std::mutex _mutex;
  std::list<std::shared_ptr<Waiter>> _waiters;
};

void Semaphore::Waiter::resume(boost::system::error_code error, Slot slot) {
  room->leave(*this);
  http::internal::resume_later(executor, std::move(handler), error, std::move(slot));
}

Semaphore::Semaphore(int count) : _state(std::make_shared<State>()) {
  if (count < 0) throw std::invalid_argument("quillmere: a semaphore cannot have a negative number of slots");
  _state->free = count;
}

Semaphore::~Semaphore() {
  std::deque<std::shared_ptr<Waiter>> left;
  {
    const std::lock_guard lock(_state->mutex);
    left.swap(_state->queue);
  }
  for (const auto& waiter : left) {
    if (!waiter->claim()) continue;
    waiter->room->leave(*waiter);
    waiter->handler = nullptr;
  }
}

struct Semaphore::Cancel {
  std::weak_ptr<Waiter> waiting;

  void operator()(boost::asio::cancellation_type) const {
    const auto waiter = waiting.lock();
    if (!waiter || !waiter->claim()) return;
    if (const auto state = waiter->state.lock()) {
      const std::lock_guard lock(state->mutex);
      // Usually found at once: a batch is cancelled in the order in which it queued.
      const auto place = std::find(state->queue.begin(), state->queue.end(), waiter);
      if (place != state->queue.end()) state->queue.erase(place);
    }
    waiter->resume(boost::asio::error::operation_aborted, Slot());
  }
};

struct Semaphore::Enter {
  std::shared_ptr<State> state;

  template <typename Handler>
  void operator()(Handler&& handler) const {
    const auto waiter = std::make_shared<Waiter>();
    const boost::asio::any_io_executor turn = boost::asio::get_associated_executor(handler);
    waiter->executor = http::internal::without_strand(turn);
    waiter->state = state;
    waiter->room = &boost::asio::use_service<WaitingRoom>(boost::asio::query(turn, boost::asio::execution::context));
    Waiter::Handler(std::forward<Handler>(handler)).swap(waiter->handler);
    auto cancellation = waiter->handler.get_cancellation_slot();
    if (cancellation.is_connected()) cancellation.emplace<Cancel>(Cancel{waiter});
    waiter->room->enter(waiter);
    {
      const std::lock_guard lock(state->mutex);
      if (state->free == 0) {
        state->queue.push_back(waiter);
        return;
      }
      --state->free;  // given back since this coroutine looked
    }
    Slot slot(state);
    if (waiter->claim()) waiter->resume({}, std::move(slot));
  }
};

boost::asio::awaitable<Semaphore::Slot> Semaphore::acquire() {
  {
    const std::lock_guard lock(_state->mutex);
    if (_state->free > 0) {
      --_state->free;
      co_return Slot(_state);
    }
  }
  Enter enter{_state};
  co_return co_await boost::asio::async_initiate<const boost::asio::use_awaitable_t<>,
                                                 void(boost::system::error_code, Slot)>(std::move(enter),
                                                                                        boost::asio::use_awaitable);
}

Semaphore::Slot::Slot(std::shared_ptr<State> state) noexcept : _state(std::move(state)) {}

Semaphore::Slot::~Slot() {
  try {
    release();
  } catch (...) {
    std::terminate();  // no memory to wake a waiter, who would wait for ever
  }
}

void Semaphore::Slot::release() {
  const auto state = std::move(_state);
  if (!state) return;
  std::shared_ptr<Waiter> next;
  do {
    const std::lock_guard lock(state->mutex);
    if (state->queue.empty()) {
      ++state->free;
      return;
    }
    next = std::move(state->queue.front());
    state->queue.pop_front();
  } while (!next->claim());
  next->resume({}, Slot(state));
}

}  // namespace quillmere::commerce
