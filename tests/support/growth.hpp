#pragma once

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <limits>
#include <string>

namespace quillmere {

/// What `growth_of_time` stays below for a reader that is linear, on a busy machine and under sanitizers too.
inline constexpr double LINEAR_GROWTH = 80;

/// How many times as much processor time `read` takes for `make(16 * size)` as for `make(size)`, each the least of five
/// runs: about 16 for a linear reader, 256 for a quadratic one. A `size` below a hundred microseconds tells little.
template <class Make, class Read>
double growth_of_time(std::size_t size, Make make, Read read) {
  const auto time = [&](const std::string& text) {
    double best = std::numeric_limits<double>::infinity();
    for (int round = 0; round < 5; ++round) {
      const std::clock_t start = std::clock();
      read(text);
      best = std::min(best, static_cast<double>(std::clock() - start));
    }
    return std::max(best, 1.0);
  };
  const double once = time(make(size));
  return time(make(16 * size)) / once;
}

}  // namespace quillmere
