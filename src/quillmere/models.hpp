#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quillmere/api.hpp"

/// The records that flow through the system, and the enumerations that classify pages, sellers, stock and condition.
///
/// Text      UTF-8. Absent is std::nullopt and is distinct from empty text.
/// Amounts   major units of their currency (12.5 is 12.50).
/// Order     the fields of a record stand in the order in which the exports write them.
/// Threads   plain values: no record is shared by the library after it has been returned.
namespace quillmere {

/// What kind of page a destination is.
enum class PageType { PRODUCT, MARKETPLACE, ARTICLE, PORTFOLIO, SOCIAL, UNCATEGORIZED };

/// What kind of seller stands behind a page.
enum class MerchantCategory { MAJOR_MARKETPLACE, RESELLER_SPECIALIST, OFFICIAL_BRAND, UNVERIFIED };

/// Whether the product can be had.
enum class StockStatus { IN_STOCK, OUT_OF_STOCK, PREORDER };

/// In what state the product is.
enum class ItemCondition { NEW, USED, REFURBISHED };

/// How well an enriched match serves somebody who wants to buy what the search showed; see relevance.hpp.
enum class RelevanceGrade { HIGH, MEDIUM, LOW };

/// The text of a member as every export writes it: its name in lower case ("out_of_stock").
[[nodiscard]] QUILLMERE_API std::string_view value(PageType member) noexcept;
[[nodiscard]] QUILLMERE_API std::string_view value(MerchantCategory member) noexcept;
[[nodiscard]] QUILLMERE_API std::string_view value(StockStatus member) noexcept;
[[nodiscard]] QUILLMERE_API std::string_view value(ItemCondition member) noexcept;
[[nodiscard]] QUILLMERE_API std::string_view value(RelevanceGrade member) noexcept;

/// One result of the visual search, as the caller has it. Only `link` and `title` are required.
///
/// Bytes that are not valid UTF-8 are read as U+FFFD; they never make an enrichment or an export fail.
struct VisualMatch {
  std::string link;   ///< the link as shown; may be a redirect or carry tracking parameters
  std::string title;  ///< the result's title
  std::optional<std::string> source = std::nullopt;     ///< site or merchant name that the result shows
  std::optional<std::string> price = std::nullopt;      ///< the price as printed, unparsed ("1.299,99 €")
  std::optional<std::string> currency = std::nullopt;   ///< hint that accompanies the printed price: a code or a symbol
  std::optional<bool> in_stock = std::nullopt;          ///< true in stock, false out of stock, absent unknown
  std::optional<std::string> thumbnail = std::nullopt;  ///< URL of the result's thumbnail image

  friend bool operator==(const VisualMatch&, const VisualMatch&) = default;
};

/// A price that was read. A price that could not be read is an absent NormalizedPrice.
struct NormalizedPrice {
  std::string raw;       ///< the price as text, as the reader that produced it forms it
  double amount = 0;     ///< finite; major units of `currency`
  std::string currency;  ///< code such as "USD"; a token without a known code is itself, in capitals

  friend bool operator==(const NormalizedPrice&, const NormalizedPrice&) = default;
};

/// One visual match after enrichment.
struct EnrichedCommerceMatch {
  std::string title;                                    ///< product or page title
  std::string direct_url;                               ///< destination after unwrapping and cleaning
  std::string original_url;                             ///< the match's `link` as received
  std::optional<NormalizedPrice> price = std::nullopt;  ///< absent when neither page nor match printed a readable one
  std::optional<std::string> merchant_name = std::nullopt;  ///< who sells
  std::optional<MerchantCategory> merchant_category =
      std::nullopt;                                             ///< absent unless `page_type` is PRODUCT or MARKETPLACE
  std::optional<std::string> thumbnail = std::nullopt;          ///< the match's thumbnail
  std::int64_t match_score = 0;                                 ///< 50 to 99, by rank
  PageType page_type = PageType::UNCATEGORIZED;                 ///< what kind of page the destination is
  std::optional<std::string> brand = std::nullopt;              ///< brand name
  std::optional<std::string> sku = std::nullopt;                ///< the seller's code, else a GTIN or part number
  std::optional<ItemCondition> condition = std::nullopt;        ///< absent when unknown, and on pages that sell nothing
  std::optional<StockStatus> stock_status = std::nullopt;       ///< absent when unknown, and on pages that sell nothing
  std::optional<std::string> primary_image_url = std::nullopt;  ///< main product image, else the thumbnail
  std::optional<std::string> shipping_info = std::nullopt;      ///< always absent today: nothing fills it
  std::optional<RelevanceGrade> relevance = std::nullopt;       ///< absent until CommerceEnricher has graded the match

  friend bool operator==(const EnrichedCommerceMatch&, const EnrichedCommerceMatch&) = default;
};

/// The market at a glance. The price figures cover the matches priced in `currency` and no others, and are absent
/// when there are none.
struct CommerceSummary {
  std::int64_t total_matches = 0;                      ///< visual matches handed in
  std::string currency = "USD";                        ///< the currency of the price figures
  std::int64_t total_priced_matches = 0;               ///< matches that carry a price, whatever its currency
  std::optional<double> min_price = std::nullopt;      ///< the lowest price
  std::optional<double> max_price = std::nullopt;      ///< the highest price
  std::optional<double> average_price = std::nullopt;  ///< rounded to two decimals
  std::optional<double> median_price =
      std::nullopt;  ///< of an even count, the mean of the middle two, rounded to two decimals

  friend bool operator==(const CommerceSummary&, const CommerceSummary&) = default;
};

/// The result of one run: one record per enriched match, in the order of the input, and their summary.
struct QUILLMERE_API CommerceIntelligence {
  CommerceSummary summary;                   ///< the market at a glance
  std::vector<EnrichedCommerceMatch> items;  ///< one record per enriched match

  /// The result as JSON text: field names as keys in record order, members of enumerations as their texts.
  ///
  /// `indent` is the number of spaces per level, absent (or negative) for one line without spaces. With `exclude_none`
  /// an absent field is left out at every level, else it is written as null. Bytes that are not UTF-8 come out as
  /// U+FFFD, an amount that is not finite as null. No line break at the end. Throws nothing but std::bad_alloc.
  [[nodiscard]] std::string model_dump_json(std::optional<int> indent = std::nullopt, bool exclude_none = false) const;

  friend bool operator==(const CommerceIntelligence&, const CommerceIntelligence&) = default;
};

/// One part of a result as JSON text, in the form that it has inside the whole: a line of JSON Lines, by default.
[[nodiscard]] QUILLMERE_API std::string model_dump_json(const EnrichedCommerceMatch& item,
                                                        std::optional<int> indent = std::nullopt,
                                                        bool exclude_none = false);
[[nodiscard]] QUILLMERE_API std::string model_dump_json(const CommerceSummary& summary,
                                                        std::optional<int> indent = std::nullopt,
                                                        bool exclude_none = false);
[[nodiscard]] QUILLMERE_API std::string model_dump_json(const NormalizedPrice& price,
                                                        std::optional<int> indent = std::nullopt,
                                                        bool exclude_none = false);

/// A result as one line of JSON with a member "id" put first: `id` is the JSON text of its value and stands as it is.
/// What comes out is JSON exactly when `id` is.
[[nodiscard]] QUILLMERE_API std::string model_dump_json_with_id(std::string_view id,
                                                                const CommerceIntelligence& commerce,
                                                                bool exclude_none = false);

}  // namespace quillmere
