#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quillmere/api.hpp"
#include "quillmere/models.hpp"
#include "quillmere/text/json.hpp"

namespace quillmere::commerce {

/// Where the facts of a page came from: the search result alone, JSON-LD, embedded page state, or Open Graph tags and
/// markup. The texts that PageMetadata::fetch_source takes.
inline constexpr std::string_view FETCH_SOURCE_SERP_FALLBACK = "serp_fallback";
inline constexpr std::string_view FETCH_SOURCE_LD_JSON = "ld_json";
inline constexpr std::string_view FETCH_SOURCE_NEXT_DATA = "next_data";
inline constexpr std::string_view FETCH_SOURCE_OPENGRAPH = "opengraph";

/// What one destination page, together with the search result that led there, says of a product.
struct PageMetadata {
  std::string title;                                ///< whitespace collapsed, character references decoded
  std::string merchant_name;                        ///< who sells on the page; the domain when nobody is named
  std::optional<std::string> brand = std::nullopt;  ///< present and empty when the page's own brand is the empty text
  std::optional<std::string> sku = std::nullopt;    ///< SKU, else GTIN, else part number
  std::optional<NormalizedPrice> price =
      std::nullopt;  ///< `raw` is the amount with two decimals, a space, the currency
  std::optional<StockStatus> stock_status = std::nullopt;       ///< absent unless `page_type` is PRODUCT or MARKETPLACE
  std::optional<ItemCondition> condition = std::nullopt;        ///< likewise
  std::optional<std::string> primary_image_url = std::nullopt;  ///< as the page wrote it, perhaps relative
  std::optional<std::string> shipping_info = std::nullopt;      ///< always absent: nothing fills it
  PageType page_type = PageType::UNCATEGORIZED;                 ///< what kind of page it is
  std::int64_t match_score = 0;                                 ///< 50 to 99 for ranks from 1
  std::string fetch_source;                                     ///< one of the FETCH_SOURCE_ texts

  friend bool operator==(const PageMetadata&, const PageMetadata&) = default;
};

/// Product objects of a page, with what keeps their trees alive. They refer to the page's text, too.
struct ProductObjects {
  std::shared_ptr<const void> owner;      ///< keeps the trees
  std::vector<text::JsonValue> products;  ///< in the order in which they were found
};

/// The same for a page that has one.
struct ProductObject {
  std::shared_ptr<const void> owner;  ///< keeps the tree
  text::JsonValue product;            ///< the object
};

/// Destination page text plus a match's own values -> PageMetadata.
///
/// Text     UTF-8; what is not valid UTF-8 in any argument is read as U+FFFD.
/// Time     linear in the page, whatever the page holds, on a small stack.
/// Threads  pure: call from any thread. Each thread keeps working buffers between calls.
class QUILLMERE_API DestinationMetadataParser {
 public:
  /// Reads `html`; an absent page, or one of 200 characters or fewer, gives a record of the initial values alone.
  ///
  /// The initial values are what the search result showed, and stand wherever the page says nothing better:
  /// `initial_merchant` empty means the domain of `direct_url`, `initial_stock` is true for in stock and false for
  /// out of stock, `rank` is the 1-based position of the match.
  /// Throws text::MalformedUrl for a network location in `direct_url` that cannot be read, and std::bad_alloc.
  [[nodiscard]] static PageMetadata parse_metadata(std::optional<std::string_view> html, std::string_view direct_url,
                                                   std::string_view initial_title = "",
                                                   std::string_view initial_merchant = "",
                                                   const std::optional<NormalizedPrice>& initial_price = std::nullopt,
                                                   std::optional<bool> initial_stock = std::nullopt,
                                                   std::int64_t rank = 1);

  // The four readers of a page's machine-readable pieces, for callers who want the pieces alone. `html` is valid
  // UTF-8 and outlives the product objects, which refer to it.

  /// The schema.org product objects of the page's JSON-LD, depth first, a parent before what it holds. A block that
  /// does not decode costs that block only.
  [[nodiscard]] static ProductObjects _find_ld_json_products(std::string_view html);

  /// The product object in the page's `__NEXT_DATA__` state; absent when there is none that can be read.
  [[nodiscard]] static std::optional<ProductObject> _find_next_data_product(std::string_view html);

  /// Contents of the page's meta tags by key, keys in lower case; of a repeated key the last content.
  [[nodiscard]] static std::map<std::string, std::string> _extract_meta_tags(std::string_view html);

  /// The text of the first title element, whitespace collapsed, references not decoded; absent without one.
  [[nodiscard]] static std::optional<std::string> _extract_html_title(std::string_view html);
};

}  // namespace quillmere::commerce
