#include "quillmere/commerce/page/fallbacks.hpp"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "quillmere/commerce/destination_metadata_parser.hpp"
#include "quillmere/commerce/page/markup.hpp"
#include "quillmere/commerce/page/tables.hpp"
#include "quillmere/commerce/price_normalizer.hpp"
#include "quillmere/text/number.hpp"
#include "quillmere/text/unicode.hpp"

namespace quillmere::commerce::page {
namespace {

/// A name that could be a brand: 2 to 30 characters.
bool is_name_sized(std::string_view text) {
  return text::is_longer_than(text, 1) && !text::is_longer_than(text, 30);
}

std::optional<std::string_view> brand_of(const MetaTagList& meta) {
  if (const auto brand = meta.find("og:brand")) return brand;
  if (const auto brand = meta.find("product:brand")) return brand;
  const auto author = meta.find("author");
  if (author && is_name_sized(*author) && !contains(*author, "http")) return author;
  const auto site = meta.find("og:site_name");
  return site && is_name_sized(*site) ? site : std::nullopt;
}

/// A price as markup writes it, "," only ever grouping. Absent when it does not read as a number.
std::optional<double> read_amount(std::string_view captured) {
  std::string digits(captured);
  std::erase(digits, ',');
  return text::parse_decimal(digits);
}

void take_amount(double amount, WorkingValues& values) {
  values.price_amount = amount;
  if (values.page_type == PageType::UNCATEGORIZED) values.page_type = PageType::PRODUCT;
}

void fill_price(const LiteralIndex& index, WorkingValues& values) {
  if (values.price_amount) return;
  if (const auto captured = shop_price(index)) {
    if (const std::optional<double> amount = read_amount(*captured)) {
      take_amount(*amount, values);
      if (is_missing(values.currency)) values.currency = "USD";
      return;
    }
  }
  if (const auto captured = microdata_price(index)) {
    if (const std::optional<double> amount = read_amount(*captured)) {
      take_amount(*amount, values);
      if (const auto code = microdata_currency(index)) values.currency = text::to_upper(*code);
    }
  }
}

void fill_identifier(const LiteralIndex& index, WorkingValues& values) {
  if (!is_missing(values.sku)) return;
  std::optional<std::string_view> captured = microdata_identifier(index);
  if (!captured) captured = identifier_element(index);
  if (!captured) captured = identifier_attribute(index);
  const std::string_view sku = text::strip(captured.value_or(""));
  if (!sku.empty()) values.sku = sku;
}

void fill_stock(const LiteralIndex& index, WorkingValues& values) {
  if (values.stock) return;
  if (has_in_stock_class(index) || mentions_in_stock(index)) {
    values.stock = StockStatus::IN_STOCK;
  } else if (has_out_of_stock_class(index) || mentions_out_of_stock(index)) {
    values.stock = StockStatus::OUT_OF_STOCK;
  }
}

}  // namespace

void read_open_graph(const MetaTagList& meta, WorkingValues& values) {
  const std::string og_type = text::to_lower(meta.find("og:type").value_or(""));
  if (contains(og_type, "product") || contains(values.direct_url, "/product")) {
    values.page_type = PageType::PRODUCT;
  } else if (contains(og_type, "article") || contains(values.direct_url, "/blog/") ||
             contains(values.direct_url, "/news/") || contains(values.domain, BLOGGING_PLATFORM_DOMAIN)) {
    values.page_type = PageType::ARTICLE;
  }
  values.fetch_source = FETCH_SOURCE_OPENGRAPH;
}

void fill_from_meta_tags(const MetaTagList& meta, WorkingValues& values) {
  if (is_missing(values.brand) && !values.is_social) {
    if (const auto brand = brand_of(meta)) values.brand = *brand;
  }
  if (is_missing(values.image)) {
    if (const auto image = meta.find("og:image")) values.image = *image;
  }
  const std::optional<std::string_view> currency = meta.find("product:price:currency");
  if (!values.price_amount) {
    if (std::optional<NormalizedPrice> price = PriceNormalizer::parse(meta.find("product:price:amount"), currency)) {
      values.price_amount = price->amount;
      if (is_missing(values.currency)) values.currency = std::move(price->currency);
    }
  }
  if (is_missing(values.currency) && currency) values.currency = text::to_upper(*currency);
  if (!values.stock) {
    const std::string availability = text::to_lower(meta.find("product:availability").value_or(""));
    if (contains(availability, "instock")) {
      values.stock = StockStatus::IN_STOCK;
    } else if (contains(availability, "outofstock")) {
      values.stock = StockStatus::OUT_OF_STOCK;
    }
  }
}

void fill_from_markup(const LiteralIndex& index, WorkingValues& values) {
  if (values.is_social) return;
  fill_price(index, values);
  fill_identifier(index, values);
  fill_stock(index, values);
}

}  // namespace quillmere::commerce::page
