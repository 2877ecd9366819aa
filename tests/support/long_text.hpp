#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quillmere {

/// So long that a reader whose time grows with the square would run into its test's time limit, by far, while a linear
/// one takes a blink. (bench/hostile_pages measures the growth itself.)
inline constexpr std::size_t LONG_TEXT_BYTES = 2U << 20U;

inline std::string long_text(std::string_view unit) {
  std::string text;
  text.reserve(LONG_TEXT_BYTES + unit.size());
  while (text.size() < LONG_TEXT_BYTES) text += unit;
  return text;
}

inline std::string repeat(std::string_view unit, std::size_t times) {
  std::string text;
  for (std::size_t i = 0; i < times; ++i) text += unit;
  return text;
}

}  // namespace quillmere
