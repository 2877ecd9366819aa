#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quillmere::cli {

/// How far a piece of work is. Without a total there is no share and no time left.
struct ProgressState {
  std::uint64_t done = 0;
  std::optional<std::uint64_t> total = std::nullopt;
  double share = 0;  ///< of the whole work, 0 to 1; meaningful with a total
  double seconds = 0;
};

/// One line of at most `width` columns, such as "[#####-----] 32/64 pages  12/s  2 s left"; what does not fit is left
/// out, the bar first. `unit` is what is counted.
[[nodiscard]] std::string progress_line(const ProgressState& state, std::string_view unit, std::size_t width);

/// A progress bar on standard error, redrawn in place at most ten times a second and cleared at its end.
class ProgressBar {
 public:
  /// `when` is "auto" (only on a terminal), "always" or "never".
  ProgressBar(std::string_view when, std::string_view unit);
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void show(std::uint64_t done, std::optional<std::uint64_t> total);
  /// The same for work whose share is known from something else than the count, such as bytes read.
  void show(ProgressState state);
  /// Wipes the line, so that other lines can be written.
  void clear();

 private:
  using Clock = std::chrono::steady_clock;

  bool _enabled;
  std::string_view _unit;
  Clock::time_point _start = Clock::now();
  Clock::time_point _last_drawn;
  bool _visible = false;
};

}  // namespace quillmere::cli
