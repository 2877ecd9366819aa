#include "quillmere/commerce/destination_metadata_parser.hpp"

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

#include "quillmere/commerce/merchant_domains.hpp"
#include "quillmere/commerce/page/classification.hpp"
#include "quillmere/commerce/page/fallbacks.hpp"
#include "quillmere/commerce/page/page_reader.hpp"
#include "quillmere/commerce/page/structured_data.hpp"
#include "quillmere/commerce/page/tables.hpp"
#include "quillmere/commerce/page/working_values.hpp"
#include "quillmere/text/character_references.hpp"
#include "quillmere/text/number.hpp"
#include "quillmere/text/unicode.hpp"

namespace quillmere::commerce {
namespace {

using page::PageReader;
using page::WorkingValues;

/// Pages up to this many characters say nothing: they are stubs, blocks and bare redirects.
constexpr std::size_t SHORT_PAGE_CHARACTERS = 200;

bool is_long_enough(std::string_view html) {
  if (text::is_longer_than(html, SHORT_PAGE_CHARACTERS)) return true;
  // Stray bytes, which that does not count, are read as a character each.
  return !text::is_valid_utf8(html) &&
         text::is_longer_than(text::to_valid_utf8(std::string(html)), SHORT_PAGE_CHARACTERS);
}

std::string page_domain(std::string_view netloc) {
  constexpr std::string_view PREFIX = "www.";
  const std::string lowered = text::to_lower(netloc);
  std::string domain;
  std::size_t from = 0;
  for (std::size_t at = lowered.find(PREFIX); at != std::string::npos; at = lowered.find(PREFIX, from)) {
    domain.append(lowered, from, at - from);
    from = at + PREFIX.size();
  }
  return domain.append(lowered, from);
}

PageType type_of_domain(const WorkingValues& values) {
  if (values.is_social) return PageType::SOCIAL;
  return page::contains_any(values.domain, MARKETPLACE_DOMAINS) ? PageType::MARKETPLACE : PageType::UNCATEGORIZED;
}

WorkingValues seed(std::string_view direct_url, std::string_view initial_title, std::string_view initial_merchant,
                   const std::optional<NormalizedPrice>& initial_price, std::optional<bool> initial_stock) {
  WorkingValues values;
  values.direct_url = text::to_valid_utf8(std::string(direct_url));
  values.parsed = text::urlparse(values.direct_url);
  values.domain = page_domain(values.parsed.netloc);
  values.is_social = page::contains_any(values.domain, page::SOCIAL_DOMAINS);
  values.page_type = type_of_domain(values);
  values.fetch_source = FETCH_SOURCE_SERP_FALLBACK;
  values.title = text::decode_character_references(text::strip(text::to_valid_utf8(std::string(initial_title))));
  values.merchant = text::strip(text::to_valid_utf8(std::string(initial_merchant)));
  if (values.merchant.empty()) values.merchant = values.domain;
  if (initial_price) {
    values.price_amount = initial_price->amount;
    values.currency = text::to_valid_utf8(initial_price->currency);
  }
  if (initial_stock) values.stock = *initial_stock ? StockStatus::IN_STOCK : StockStatus::OUT_OF_STOCK;
  return values;
}

/// The facts of the first source that has any; a social network's page has no product of its own.
void read_product(PageReader& page, WorkingValues& values) {
  if (values.is_social) return;
  if (const auto& products = page.ld_json_products(); products.first) {
    page::read_ld_json(products, values);
  } else if (const auto state = page.next_data_product(); state && !state->is_empty()) {
    page::read_page_state(*state, values);
  } else {
    page::read_open_graph(page.meta_tags(), values);
  }
}

std::int64_t match_score(const WorkingValues& values, std::int64_t rank) {
  // From the last on the score is 50; below the lowest it would overflow.
  constexpr std::int64_t LAST_DISTINCT_RANK = 17;
  constexpr std::int64_t LOWEST_RANK = std::numeric_limits<std::int64_t>::min() / 4;
  rank = std::clamp(rank, LOWEST_RANK, LAST_DISTINCT_RANK);
  const std::int64_t score = std::max<std::int64_t>(50, 98 - 3 * (rank - 1));
  const bool is_brand_in_title =
      !page::is_missing(values.brand) && page::contains(text::to_lower(values.title), text::to_lower(*values.brand));
  return is_brand_in_title ? std::min<std::int64_t>(score + 2, 99) : score;
}

std::optional<NormalizedPrice> price_record(const WorkingValues& values) {
  if (!values.price_amount) return std::nullopt;
  std::string currency = page::is_missing(values.currency) ? "USD" : *values.currency;
  std::string raw = text::two_decimals(*values.price_amount) + " " + currency;
  return NormalizedPrice{.raw = std::move(raw), .amount = *values.price_amount, .currency = std::move(currency)};
}

PageMetadata finish(WorkingValues values, std::int64_t rank) {
  const std::int64_t score = match_score(values, rank);
  std::optional<NormalizedPrice> price = price_record(values);
  return PageMetadata{
      .title = text::collapse_whitespace(text::decode_character_references(values.title)),
      .merchant_name = std::move(values.merchant),
      .brand = std::move(values.brand),
      .sku = std::move(values.sku),
      .price = std::move(price),
      .stock_status = values.stock,
      .condition = values.condition,
      .primary_image_url = std::move(values.image),
      .shipping_info = std::nullopt,
      .page_type = values.page_type,
      .match_score = score,
      .fetch_source = std::string(values.fetch_source),
  };
}

}  // namespace

PageMetadata DestinationMetadataParser::parse_metadata(std::optional<std::string_view> html,
                                                       std::string_view direct_url, std::string_view initial_title,
                                                       std::string_view initial_merchant,
                                                       const std::optional<NormalizedPrice>& initial_price,
                                                       std::optional<bool> initial_stock, std::int64_t rank) {
  WorkingValues values = seed(direct_url, initial_title, initial_merchant, initial_price, initial_stock);
  if (html && is_long_enough(*html)) {
    static thread_local PageReader page;
    page.open(*html);  // before it is validated: this reads memory that is not in the caches faster
    std::string replaced;
    if (!text::is_valid_utf8(*html)) page.open(replaced = text::to_valid_utf8(std::string(*html)));
    read_product(page, values);
    fill_from_meta_tags(page.meta_tags(), values);
    fill_from_markup(page.index(), values);
    take_title_from_page(page, values);
    page.close();
  }
  repair_and_classify(values);
  return finish(std::move(values), rank);
}

ProductObjects DestinationMetadataParser::_find_ld_json_products(std::string_view html) {
  page::LiteralIndex index;
  index.read(html);
  auto found = std::make_shared<page::LdJsonProducts>(page::find_ld_json_products(index));
  std::vector<text::JsonValue> products = found->products;
  return {std::move(found), std::move(products)};
}

std::optional<ProductObject> DestinationMetadataParser::_find_next_data_product(std::string_view html) {
  auto page = std::make_shared<PageReader>();
  page->open(html);
  const std::optional<text::JsonValue> product = page->next_data_product();
  return product ? std::optional<ProductObject>({std::move(page), *product}) : std::nullopt;
}

std::map<std::string, std::string> DestinationMetadataParser::_extract_meta_tags(std::string_view html) {
  PageReader page;
  page.open(html);
  return page.meta_tags().to_map();
}

std::optional<std::string> DestinationMetadataParser::_extract_html_title(std::string_view html) {
  PageReader page;
  page.open(html);
  return page.html_title();
}

}  // namespace quillmere::commerce
