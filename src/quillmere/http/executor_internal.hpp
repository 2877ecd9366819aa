#pragma once

#include <utility>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/associated_executor.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>

namespace quillmere::http::internal {

/// `executor` without the strands around it: where work goes that must not wait for one coroutine's turn.
inline boost::asio::any_io_executor without_strand(const boost::asio::any_io_executor& executor) {
  using boost::asio::any_io_executor;
  using boost::asio::io_context;
  using boost::asio::strand;
  if (const auto* any = executor.target<strand<any_io_executor>>()) return without_strand(any->get_inner_executor());
  if (const auto* direct = executor.target<strand<io_context::executor_type>>()) return direct->get_inner_executor();
  return executor;
}

/// Calls `handler` on its own executor, from within this call where that executor allows it.
template <typename Handler, typename... Args>
void resume(Handler handler, Args... args) {
  const auto turn = boost::asio::get_associated_executor(handler);
  boost::asio::dispatch(turn, [handler = std::move(handler), ... args = std::move(args)]() mutable {
    std::move(handler)(std::move(args)...);
  });
}

/// The same, but never from within this call. It goes by way of `executor`, which is no strand: so a chain of handlers
/// that each end the next one's wait is unwound one by one, not recursively, when their context is destroyed.
template <typename Handler, typename... Args>
void resume_later(const boost::asio::any_io_executor& executor, Handler handler, Args... args) {
  boost::asio::post(executor, [handler = std::move(handler), ... args = std::move(args)]() mutable {
    resume(std::move(handler), std::move(args)...);
  });
}

}  // namespace quillmere::http::internal
