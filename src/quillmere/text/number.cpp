#include "quillmere/text/number.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <system_error>

namespace quillmere::text {
namespace {

// The largest double has 309 digits before the point.
using Buffer = std::array<char, 320>;

/// The decimal exponent of "d.ddde+xx".
int exponent_of(std::string_view scientific) noexcept {
  std::string_view written = scientific.substr(scientific.rfind('e') + 1);
  if (written.front() == '+') written.remove_prefix(1);
  int exponent = 0;
  std::from_chars(written.data(), written.data() + written.size(), exponent);
  return exponent;
}

}  // namespace

std::string shortest_decimal(double value) {
  Buffer buffer;
  const auto scientific = std::to_chars(buffer.begin(), buffer.end(), value, std::chars_format::scientific);
  const int exponent = exponent_of({buffer.data(), scientific.ptr});
  if (exponent < -4 || exponent > 15) return {buffer.data(), scientific.ptr};
  const auto plain = std::to_chars(buffer.begin(), buffer.end(), value, std::chars_format::fixed);
  std::string text(buffer.data(), plain.ptr);
  if (text.find('.') == std::string::npos) text += ".0";
  return text;
}

std::string two_decimals(double value) {
  Buffer buffer;
  const auto written = std::to_chars(buffer.begin(), buffer.end(), value, std::chars_format::fixed, 2);
  return {buffer.data(), written.ptr};
}

double round_to_two_decimals(double value) {
  constexpr double FIRST_WITHOUT_FRACTION = 4503599627370496.0;  // 2^52
  if (!(std::fabs(value) < FIRST_WITHOUT_FRACTION)) return value;
  Buffer buffer;
  const auto written = std::to_chars(buffer.begin(), buffer.end(), value, std::chars_format::fixed, 2);
  double rounded = 0;
  std::from_chars(buffer.data(), written.ptr, rounded);
  return rounded;
}

std::optional<double> parse_decimal(std::string_view text) noexcept {
  const auto is_part = [](char c) { return (c >= '0' && c <= '9') || c == '.'; };
  if (!std::all_of(text.begin(), text.end(), is_part)) return std::nullopt;
  const std::size_t point = text.find('.');
  if (point != text.rfind('.')) return std::nullopt;
  double value = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
  if (read.ec == std::errc()) return value;
  if (read.ec != std::errc::result_out_of_range) return std::nullopt;
  const bool is_below_one = text.substr(0, point).find_first_not_of('0') == std::string_view::npos;
  return is_below_one ? std::optional(0.0) : std::nullopt;
}

}  // namespace quillmere::text
