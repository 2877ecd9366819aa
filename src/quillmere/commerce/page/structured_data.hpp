#pragma once

#include <optional>

#include "quillmere/commerce/page/working_values.hpp"
#include "quillmere/text/json.hpp"

/// The stages that read product facts out of a page's machine-readable data. Values of unexpected kinds leave the
/// working values as they are; nothing is thrown but std::bad_alloc.
namespace quillmere::commerce::page {

/// Those of a page's schema.org products that its facts come from.
struct ProductChoice {
  std::optional<text::JsonValue> first;     ///< absent: there are no products
  std::optional<text::JsonValue> telling;   ///< the first that says what is sold: offers, sku or variants
  std::optional<text::JsonValue> offering;  ///< the first with offers

  /// Looks at the next product in document order; whether it is one of these.
  bool consider(text::JsonValue product);
  /// Whether no later product can be one of these.
  [[nodiscard]] bool is_final() const noexcept { return offering.has_value(); }
};

/// The facts of `telling`, else of `first`, which is present. One without offers of its own takes those of `offering`.
void read_ld_json(const ProductChoice& products, WorkingValues& values);

/// The product object of a page's embedded state. A page that carries one is taken to sell the item new, and in stock.
void read_page_state(text::JsonValue product, WorkingValues& values);

}  // namespace quillmere::commerce::page
