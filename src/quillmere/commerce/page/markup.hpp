#pragma once

#include <optional>
#include <string_view>

#include "quillmere/commerce/page/literal_index.hpp"

/// Searches of shop markup: each is the first match of one pattern anywhere in the page, run when it is asked for, in
/// time linear in the page. ASCII letter case does not count; `\d` and `\b` are ASCII. Captures are slices of the page,
/// neither stripped nor decoded.
namespace quillmere::commerce::page {

/// class=["'][^"']*woocommerce-Price-amount[^"']*["'][^>]*>(?:<bdi>)?(?:<span[^>]*>[^<]*</span>)?([\d,]+(?:\.\d{2})?)
[[nodiscard]] std::optional<std::string_view> shop_price(const LiteralIndex& index);

/// itemprop=["']price["'][^>]*content=["']([\d,]+(?:\.\d{2})?)["']
[[nodiscard]] std::optional<std::string_view> microdata_price(const LiteralIndex& index);

/// itemprop=["']priceCurrency["'][^>]*content=["']([A-Z]{3})["']
[[nodiscard]] std::optional<std::string_view> microdata_currency(const LiteralIndex& index);

/// itemprop=["']sku["'][^>]*content=["']([^"']+)["']
[[nodiscard]] std::optional<std::string_view> microdata_identifier(const LiteralIndex& index);

/// <span[^>]*class=["'][^"']*sku[^"']*["'][^>]*>([^<]+)</span>
[[nodiscard]] std::optional<std::string_view> identifier_element(const LiteralIndex& index);

/// data-product_sku=["']([^"']+)["']
[[nodiscard]] std::optional<std::string_view> identifier_attribute(const LiteralIndex& index);

/// class=["'][^"']*\binstock\b[^"']*["']
[[nodiscard]] bool has_in_stock_class(const LiteralIndex& index);

/// class=["'][^"']*\boutofstock\b[^"']*["']
[[nodiscard]] bool has_out_of_stock_class(const LiteralIndex& index);

/// Whether the lower-cased page holds "schema.org/instock", "schema.org/outofstock". Lower case is Unicode's: U+212A
/// KELVIN SIGN, the one character that gives an ASCII letter of these texts, is a "k".
[[nodiscard]] bool mentions_in_stock(const LiteralIndex& index);
[[nodiscard]] bool mentions_out_of_stock(const LiteralIndex& index);

}  // namespace quillmere::commerce::page
