#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <limits>
#include <string>

namespace quillmere {

/// What `growth_of_time` stays below for a reader that is linear, on a busy machine too.
inline constexpr double LINEAR_GROWTH = 24;

/// How many times as long `read` takes for `make(8 * size)` as for `make(size)`, each the quickest of five runs: about
/// 8 for a linear reader, 64 for a quadratic one. Choose a `size` that takes a tenth of a millisecond at least.
template <class Make, class Read>
double growth_of_time(std::size_t size, Make make, Read read) {
  const auto seconds = [&](const std::string& text) {
    double best = std::numeric_limits<double>::infinity();
    for (int round = 0; round < 5; ++round) {
      const auto start = std::chrono::steady_clock::now();
      read(text);
      best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
  };
  const double once = seconds(make(size));
  return seconds(make(8 * size)) / once;
}

}  // namespace quillmere
