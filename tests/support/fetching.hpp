#pragma once

#include <chrono>
#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>

#include "quillmere/commerce/destination_fetcher.hpp"

/// Fetches on an event loop of their own, for tests.
namespace quillmere::testing {

/// Runs `operation` to its end on a loop of its own. What it throws is thrown.
template <typename T>
T run(boost::asio::awaitable<T> operation) {
  boost::asio::io_context loop;
  std::optional<T> result;
  boost::asio::co_spawn(loop, std::move(operation), [&result](const std::exception_ptr& error, T value) {
    if (error) std::rethrow_exception(error);
    result.emplace(std::move(value));
  });
  loop.run();
  return std::move(result.value());
}

struct Fetched {
  std::optional<std::string> body;
  int status = 0;
  http::FetchReport report;
};

/// One GET. The report is the error's when it failed, else what the observer saw.
inline Fetched fetch(const std::string& url, http::FetchOptions options, int timeout = 1) {
  Fetched fetched;
  int reports = 0;
  options.observer = [&](const http::FetchReport& report) {
    fetched.report = report;
    ++reports;
  };
  try {
    const std::optional<http::Response> response = run(http::AsyncFetcher::get(url, timeout, options));
    if (response) {
      fetched.body = response->body;
      fetched.status = response->status;
    }
  } catch (const http::FetchError& error) {
    fetched.report = error.report();
  }
  if (reports != 1) throw std::logic_error("reported " + std::to_string(reports) + " times");
  return fetched;
}

/// Options that let tests reach the loopback server.
inline http::FetchOptions on_loopback() {
  http::FetchOptions options;
  options.allow_private_networks = true;
  return options;
}

class Stopwatch {
 public:
  [[nodiscard]] double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - _begin).count();
  }

 private:
  std::chrono::steady_clock::time_point _begin = std::chrono::steady_clock::now();
};

}  // namespace quillmere::testing
