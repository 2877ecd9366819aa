#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "quillmere/models.hpp"
#include "quillmere/text/url.hpp"

namespace quillmere::commerce::page {

/// What is known of a page so far. The stages read and replace these values one after another; what the last stage
/// leaves becomes the PageMetadata.
struct WorkingValues {
  std::string direct_url;
  text::UrlComponents parsed;  ///< the parts of `direct_url`
  std::string domain;          ///< its network location in lower case, with every "www." removed
  bool is_social = false;      ///< the domain is a social network's

  std::string title;
  std::string merchant;
  std::optional<std::string> brand;
  std::optional<std::string> sku;
  std::optional<std::string> image;
  std::optional<double> price_amount;
  std::optional<std::string> currency;
  std::optional<StockStatus> stock;
  std::optional<ItemCondition> condition;
  PageType page_type = PageType::UNCATEGORIZED;
  std::string_view fetch_source;
};

[[nodiscard]] inline bool is_missing(const std::optional<std::string>& text) {
  return !text || text->empty();
}

[[nodiscard]] inline bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

template <typename Table>
[[nodiscard]] bool contains_any(std::string_view text, const Table& parts) {
  return std::any_of(parts.begin(), parts.end(), [&](std::string_view part) { return contains(text, part); });
}

/// Whether the page sells something: only then identifier, condition and stock mean anything.
[[nodiscard]] inline bool is_selling(PageType type) {
  return type == PageType::PRODUCT || type == PageType::MARKETPLACE;
}

}  // namespace quillmere::commerce::page
