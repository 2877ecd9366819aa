#pragma once

#include <memory>

#include <boost/asio/awaitable.hpp>

#include "quillmere/api.hpp"

namespace quillmere::commerce {

/// A counting semaphore that coroutines wait for; slots are granted first come, first served.
///
/// Threads: any operation from any thread; the coroutines that share one may run on different executors.
///
///     Semaphore sem(8);
///     Semaphore::Slot slot = co_await sem.acquire();   // given back when `slot` is destroyed
class QUILLMERE_API Semaphore {
 public:
  /// One slot that is held. It may outlive the semaphore.
  class Slot;

  /// Throws std::invalid_argument when `count` is negative.
  explicit Semaphore(int count);
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;
  ~Semaphore();

  /// Waits until a slot is free and takes it. Cancelling the wait (terminal, through the coroutine's slot) throws
  /// boost::system::system_error(operation_aborted) and leaves the other waiters in their order.
  [[nodiscard]] boost::asio::awaitable<Slot> acquire();

 private:
  struct State;
  struct Waiter;
  struct Enter;
  struct Cancel;
  class WaitingRoom;
  std::shared_ptr<State> _state;
};

/// A slot of a semaphore, as `acquire` gives it.
class QUILLMERE_API Semaphore::Slot {
 public:
  /// Leaves `other` without a slot.
  Slot(Slot&& other) noexcept = default;
  Slot& operator=(Slot&& other) = delete;

  /// Gives the slot back if `release` did not.
  ~Slot();

  /// Gives the slot back, to the first waiter if there is one. A second call does nothing.
  void release();

 private:
  friend class Semaphore;
  Slot() noexcept = default;
  explicit Slot(std::shared_ptr<State> state) noexcept;

  std::shared_ptr<State> _state;
};

}  // namespace quillmere::commerce
