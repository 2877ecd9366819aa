#pragma once

#include <vector>

#include "quillmere/commerce/page/working_values.hpp"
#include "quillmere/text/json.hpp"

/// The stages that read product facts out of a page's machine-readable data. Values of unexpected kinds leave the
/// working values as they are; nothing is thrown but std::bad_alloc.
namespace quillmere::commerce::page {

/// schema.org product objects in document order, at least one. The first that says what is sold (offers, sku or
/// variants) supplies the facts.
void read_ld_json(const std::vector<text::JsonValue>& products, WorkingValues& values);

/// The product object of a page's embedded state. A page that carries one is taken to sell the item new, and in stock.
void read_page_state(text::JsonValue product, WorkingValues& values);

}  // namespace quillmere::commerce::page
