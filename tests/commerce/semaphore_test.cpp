#include "quillmere/commerce/semaphore.hpp"

#include <atomic>
#include <deque>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

namespace quillmere::commerce {
namespace {

using boost::asio::awaitable;
using boost::asio::cancellation_signal;
using boost::asio::cancellation_type;
using boost::asio::io_context;

/// Coroutines that take a slot each and keep it until told otherwise.
struct Queue {
  std::vector<int> granted;
  std::vector<int> aborted;
  std::deque<std::optional<Semaphore::Slot>> held;
  std::deque<cancellation_signal> cancellations;

  awaitable<void> take(Semaphore& sem, int number) {
    held[static_cast<std::size_t>(number)].emplace(co_await sem.acquire());
    granted.push_back(number);
  }

  void line_up(io_context& loop, Semaphore& sem, int count) {
    held.resize(static_cast<std::size_t>(count));
    for (int number = 0; number < count; ++number) {
      boost::asio::co_spawn(loop, take(sem, number),
                            boost::asio::bind_cancellation_slot(cancellations.emplace_back().slot(),
                                                                [this, number](const std::exception_ptr& error) {
                                                                  if (error) aborted.push_back(number);
                                                                }));
    }
    loop.restart();
    loop.poll();
  }

  void release(io_context& loop, std::size_t number) {
    held[number].reset();
    loop.restart();
    loop.poll();
  }
};

TEST(Semaphore, GrantsFirstComeFirstServed) {
  io_context loop;
  Semaphore sem(2);
  Queue queue;
  queue.line_up(loop, sem, 5);
  EXPECT_EQ(queue.granted, (std::vector{0, 1}));
  queue.release(loop, 1);
  EXPECT_EQ(queue.granted, (std::vector{0, 1, 2}));
  queue.release(loop, 0);
  queue.release(loop, 2);
  EXPECT_EQ(queue.granted, (std::vector{0, 1, 2, 3, 4}));
}

TEST(Semaphore, CancelledWaitersLeaveTheOthersInOrder) {
  io_context loop;
  Semaphore sem(1);
  Queue queue;
  queue.line_up(loop, sem, 4);
  queue.cancellations[1].emit(cancellation_type::terminal);
  queue.cancellations[3].emit(cancellation_type::terminal);
  loop.restart();
  loop.poll();
  queue.release(loop, 0);
  EXPECT_EQ(queue.aborted, (std::vector{1, 3}));
  EXPECT_EQ(queue.granted, (std::vector{0, 2}));
  queue.release(loop, 2);
  Queue later;
  later.line_up(loop, sem, 1);
  EXPECT_EQ(later.granted.size(), 1U) << "a slot was lost";
}

TEST(Semaphore, SlotGrantedToACancelledCoroutineIsGivenBack) {
  io_context loop;
  Semaphore sem(1);
  Queue queue;
  queue.line_up(loop, sem, 3);
  queue.held[0].reset();                                     // grants to 1, which has not run yet
  queue.cancellations[1].emit(cancellation_type::terminal);  // too late to take the grant back
  loop.restart();
  loop.poll();
  queue.release(loop, 1);
  EXPECT_EQ(queue.granted, (std::vector{0, 1, 2}));
}

TEST(Semaphore, RefusesANegativeCountAndWaitsAtZero) {
  EXPECT_THROW(Semaphore(-1), std::invalid_argument);
  io_context loop;
  Semaphore none(0);
  Queue queue;
  queue.line_up(loop, none, 1);
  EXPECT_TRUE(queue.granted.empty());
  queue.cancellations[0].emit(cancellation_type::terminal);
  loop.restart();
  loop.poll();
  EXPECT_EQ(queue.aborted.size(), 1U);
}

// Whatever goes first, nobody is called and nothing is leaked or touched again; sanitizers see the rest.
TEST(Semaphore, EndsBeforeOrAfterItsContext) {
  for (const bool semaphore_first : {true, false}) {
    auto loop = std::make_unique<io_context>();
    auto sem = std::make_unique<Semaphore>(1);
    Queue queue;
    queue.line_up(*loop, *sem, 20'000);
    if (semaphore_first) sem.reset();
    loop.reset();
    sem.reset();
    queue.held.clear();
    EXPECT_EQ(queue.granted.size(), 1U);
    EXPECT_TRUE(queue.aborted.empty());
  }
}

TEST(Semaphore, BoundsCoroutinesOnManyThreads) {
  boost::asio::thread_pool pool(4);
  Semaphore sem(3);
  std::atomic<int> inside = 0;
  std::atomic<int> peak = 0;
  std::atomic<int> done = 0;
  const auto work = [&]() -> awaitable<void> {
    const Semaphore::Slot slot = co_await sem.acquire();
    const int now = ++inside;
    for (int seen = peak; now > seen && !peak.compare_exchange_weak(seen, now);) {
    }
    co_await boost::asio::post(pool, boost::asio::use_awaitable);
    --inside;
    ++done;
  };
  for (int i = 0; i < 1000; ++i) {
    boost::asio::co_spawn(pool, work(), [](const std::exception_ptr& error) { EXPECT_FALSE(error); });
  }
  pool.join();
  EXPECT_EQ(done, 1000);
  EXPECT_LE(peak, 3);
}

}  // namespace
}  // namespace quillmere::commerce
