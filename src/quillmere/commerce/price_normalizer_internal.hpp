#pragma once

#include <optional>
#include <string_view>

namespace quillmere::commerce::price_normalizer_internal {

/// The three groups of PriceNormalizer::PRICE_PATTERN, as slices of the text that was searched.
struct PriceMatch {
  std::optional<std::string_view> prefix;
  std::string_view number;
  std::optional<std::string_view> suffix;

  friend bool operator==(const PriceMatch&, const PriceMatch&) = default;
};

/// The leftmost-first match of PriceNormalizer::PRICE_PATTERN in `text`, found in one pass.
[[nodiscard]] std::optional<PriceMatch> find_price(std::string_view text) noexcept;

}  // namespace quillmere::commerce::price_normalizer_internal
