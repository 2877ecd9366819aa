#include "cli/progress.hpp"

#include <algorithm>
#include <cmath>
#include <unistd.h>

#include "cli/interrupt.hpp"
#include <sys/ioctl.h>

namespace quillmere::cli {
namespace {

constexpr std::size_t DEFAULT_WIDTH = 80;
constexpr std::size_t LONGEST_BAR = 40;
constexpr std::size_t SHORTEST_BAR = 10;
constexpr auto INTERVAL = std::chrono::milliseconds(100);

/// Asked for anew at each drawing: the window may have been resized.
std::size_t terminal_width() {
  winsize size{};
  if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return DEFAULT_WIDTH;
  return size.ws_col;
}

std::string duration(double seconds) {
  const auto whole = static_cast<std::uint64_t>(std::lround(std::clamp(seconds, 0.0, 359'999.0)));
  if (whole < 60) return std::to_string(whole) + " s";
  if (whole < 3'600) return std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s";
  return std::to_string(whole / 3'600) + " h " + std::to_string(whole % 3'600 / 60) + " min";
}

std::string rate(double per_second) {
  if (per_second >= 10) return std::to_string(std::lround(per_second)) + "/s";
  const long tenths = std::lround(per_second * 10);
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + "/s";
}

}  // namespace

std::string progress_line(const ProgressState& state, std::string_view unit, std::size_t width) {
  std::string line = std::to_string(state.done);
  if (state.total) line += "/" + std::to_string(*state.total);
  // The pieces in order of importance; each is taken only while the line still fits.
  std::size_t taken = line.size();
  const auto take_if_it_fits = [&](std::string piece) {
    if (taken + piece.size() > width) return std::string();
    taken += piece.size();
    return piece;
  };
  const double share = std::clamp(state.share, 0.0, 1.0);
  std::string time_left;
  if (state.seconds >= 1 && share > 0 && share < 1) {
    time_left = take_if_it_fits("  " + duration(state.seconds / share - state.seconds) + " left");
  }
  line += take_if_it_fits(" " + std::string(unit)) + time_left;
  if (state.seconds >= 1 && state.done > 0) {
    line += take_if_it_fits("  " + rate(static_cast<double>(state.done) / state.seconds));
  }
  if (share > 0 && line.size() + SHORTEST_BAR + 3 <= width) {
    const std::size_t length = std::min(LONGEST_BAR, width - line.size() - 3);
    const auto filled = static_cast<std::size_t>(share * static_cast<double>(length));
    line = "[" + std::string(filled, '#') + std::string(length - filled, '-') + "] " + line;
  }
  return line.substr(0, width);
}

ProgressBar::ProgressBar(std::string_view when, std::string_view unit)
    : _enabled(when == "always" || (when != "never" && ::isatty(STDERR_FILENO) == 1)), _unit(unit) {}

ProgressBar::~ProgressBar() {
  clear();
}

void ProgressBar::show(std::uint64_t done, std::optional<std::uint64_t> total) {
  const double share = total && *total > 0 ? static_cast<double>(done) / static_cast<double>(*total) : 0;
  show({.done = done, .total = total, .share = share});
}

void ProgressBar::show(ProgressState state) {
  if (!_enabled) return;
  const auto now = Clock::now();
  if (_visible && now - _last_drawn < INTERVAL) return;
  _last_drawn = now;
  state.seconds = std::chrono::duration<double>(now - _start).count();
  // One column stays free: a character in the last one would wrap on some terminals.
  const std::string line =
      "\r" + progress_line(state, _unit, std::max<std::size_t>(terminal_width(), 2) - 1) + "\x1b[K";
  if (!_visible) set_line_to_clear(true);
  _visible = true;
  [[maybe_unused]] const auto written = ::write(STDERR_FILENO, line.data(), line.size());
}

void ProgressBar::clear() {
  if (!_visible) return;
  _visible = false;
  constexpr std::string_view CLEAR_LINE = "\r\x1b[K";
  [[maybe_unused]] const auto written = ::write(STDERR_FILENO, CLEAR_LINE.data(), CLEAR_LINE.size());
  set_line_to_clear(false);
}

}  // namespace quillmere::cli
