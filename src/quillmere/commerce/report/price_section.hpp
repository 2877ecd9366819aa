#pragma once

#include <span>
#include <string>

#include "quillmere/commerce/report/figures.hpp"

/// The parts of the page that show prices, as HTML.
namespace quillmere::commerce::report {

/// Currencies with a tile above the fold, and those with a drawn strip; a document may name any number of them.
inline constexpr std::size_t MOST_TILES = 3;
inline constexpr std::size_t MOST_STRIPS = 12;

/// A tile for each of the first currencies: median, range and number of prices.
[[nodiscard]] std::string price_tiles(std::span<const CurrencyPrices> currencies);

/// A table for each currency: per merchant category a strip, all on one axis, and its figures.
[[nodiscard]] std::string price_strips(std::span<const CurrencyPrices> currencies);

}  // namespace quillmere::commerce::report
