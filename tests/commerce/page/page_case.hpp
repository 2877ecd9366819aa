#pragma once

#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

#include "quillmere/commerce/destination_metadata_parser.hpp"
#include "quillmere/text/number.hpp"

/// Rows that say what one page, and the search result that led there, become.
namespace quillmere::commerce {

struct PageCase {
  const char* name;
  /// Stands in a page of more than 200 characters; null for a page that could not be had.
  const char* html;
  /// "field=value" lines, one a fact to check; "-" is absent. A price is "amount currency".
  const char* expected;
  const char* url = "https://shop.example/x";
  const char* title = "Plain Item Name";
  const char* merchant = "";
  std::optional<NormalizedPrice> price = std::nullopt;
  std::optional<bool> in_stock = std::nullopt;
  std::int64_t rank = 1;

  friend std::ostream& operator<<(std::ostream& out, const PageCase& row) {
    return out << row.url << " " << (row.html != nullptr ? row.html : "(no page)");
  }
};

template <typename Member>
std::string text_of(const std::optional<Member>& member) {
  return member ? std::string(value(*member)) : "-";
}

inline std::map<std::string, std::string> facts_of(const PageMetadata& meta) {
  return {{"title", meta.title},
          {"merchant", meta.merchant_name},
          {"brand", meta.brand.value_or("-")},
          {"sku", meta.sku.value_or("-")},
          {"price", meta.price ? text::shortest_decimal(meta.price->amount) + " " + meta.price->currency : "-"},
          {"raw", meta.price ? meta.price->raw : "-"},
          {"stock", text_of(meta.stock_status)},
          {"condition", text_of(meta.condition)},
          {"image", meta.primary_image_url.value_or("-")},
          {"type", std::string(value(meta.page_type))},
          {"score", std::to_string(meta.match_score)},
          {"source", meta.fetch_source}};
}

inline std::string padded_page(std::string_view html) {
  return std::string(html) + "\n<p>" + std::string(201, '.') + "</p>";
}

inline void expect_facts(const PageCase& row) {
  std::optional<std::string> page;
  if (row.html != nullptr) page = padded_page(row.html);
  const PageMetadata meta = DestinationMetadataParser::parse_metadata(page, row.url, row.title, row.merchant, row.price,
                                                                      row.in_stock, row.rank);
  const std::map<std::string, std::string> facts = facts_of(meta);
  std::string_view rest = row.expected;
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    const std::size_t equals = line.find('=');
    EXPECT_EQ(facts.at(std::string(line.substr(0, equals))), line.substr(equals + 1)) << line;
  }
}

}  // namespace quillmere::commerce
