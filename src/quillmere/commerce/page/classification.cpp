#include "quillmere/commerce/page/classification.hpp"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quillmere/commerce/destination_metadata_parser.hpp"
#include "quillmere/commerce/page/scan.hpp"
#include "quillmere/commerce/page/tables.hpp"
#include "quillmere/text/character_references.hpp"
#include "quillmere/text/unicode.hpp"

namespace quillmere::commerce::page {
namespace {

bool is_generic(std::string_view title) {
  return std::any_of(GENERIC_TITLES.begin(), GENERIC_TITLES.end(),
                     [&](std::string_view generic) { return lower_case_is(title, generic); });
}

bool occurs_in_domain(const std::string& name, const WorkingValues& values) {
  return contains(values.domain, text::to_lower(name));
}

/// The last segment of a path as words: "/products/trail-runner_v2/" gives "Trail Runner V2". Absent for no segment.
std::optional<std::string> title_of_path(std::string_view path) {
  const std::size_t last = path.find_last_not_of('/');
  if (last == std::string_view::npos) return std::nullopt;
  path = path.substr(0, last + 1);
  std::string words(path.substr(path.rfind('/') + 1));
  std::replace_if(
      words.begin(), words.end(), [](char c) { return c == '-' || c == '_'; }, ' ');
  return text::to_title(words);
}

void replace_generic_title(WorkingValues& values) {
  if (!is_generic(values.title)) return;
  if (text::is_longer_than(values.merchant, 5) && !occurs_in_domain(values.merchant, values)) {
    values.title = std::exchange(values.merchant, values.domain);
  } else if (std::optional<std::string> title = title_of_path(values.parsed.path)) {
    values.title = std::move(*title);
  }
}

/// A single word beside a merchant of several: the search result had product and brand the wrong way round.
void widen_single_word_title(WorkingValues& values) {
  if (text::has_more_words_than(values.title, 1) || !text::has_more_words_than(values.merchant, 2)) return;
  if (is_missing(values.brand)) values.brand = values.title;
  std::swap(values.title, values.merchant);
}

bool is_shop_domain(std::string_view domain) {
  const auto ends_domain = [&](std::string_view ending) { return domain.ends_with(ending); };
  return std::any_of(SHOP_DOMAIN_ENDINGS.begin(), SHOP_DOMAIN_ENDINGS.end(), ends_domain) ||
         contains_any(domain, FOOTWEAR_WORDS);
}

PageType classify(const WorkingValues& values) {
  const std::string path = text::to_lower(values.parsed.path);
  const std::string title_lc = text::to_lower(values.title);
  const bool has_product_signal = values.price_amount || contains_any(path, PRODUCT_PATH_PATTERNS);
  if (has_product_signal && (values.sku || values.fetch_source != FETCH_SOURCE_SERP_FALLBACK)) {
    return PageType::PRODUCT;
  }
  if (contains_any(path, ARTICLE_PATH_PATTERNS) || contains_any(values.domain, EDITORIAL_DOMAINS)) {
    return PageType::ARTICLE;
  }
  if (contains_any(path, PORTFOLIO_PATH_PATTERNS) || contains_any(title_lc, PORTFOLIO_KEYWORDS) ||
      contains_any(values.domain, PORTFOLIO_DOMAINS)) {
    return PageType::PORTFOLIO;
  }
  if (contains_any(path, CATALOG_PATH_PATTERNS) || is_shop_domain(values.domain)) return PageType::PRODUCT;
  return PageType::UNCATEGORIZED;
}

/// What the title and the merchant's name tell of an item that is for sale.
void infer_from_title(WorkingValues& values) {
  const std::string title_lc = text::to_lower(values.title);
  if (!values.condition) {
    if (contains_any(title_lc, REFURBISHED_WORDS)) {
      values.condition = ItemCondition::REFURBISHED;
    } else if (contains_any(title_lc, USED_WORDS)) {
      values.condition = ItemCondition::USED;
    }
  }
  if (!values.stock && values.price_amount && !contains_any(title_lc, SOLD_OUT_PHRASES)) {
    values.stock = StockStatus::IN_STOCK;
  }
  if (is_missing(values.brand) && text::is_longer_than(values.merchant, 2) &&
      !occurs_in_domain(values.merchant, values)) {
    values.brand = values.merchant;
  }
}

}  // namespace

void take_title_from_page(PageReader& page, WorkingValues& values) {
  const bool is_useless = is_generic(values.title) || !text::is_longer_than(values.title, 3) ||
                          text::to_lower(values.title) == text::to_lower(values.merchant);
  if (!is_useless) return;
  const std::optional<std::string_view> og_title = page.meta_tags().find("og:title");
  if (og_title && !is_generic(*og_title)) {
    values.title = text::decode_character_references(*og_title);
    return;
  }
  const std::optional<std::string> html_title = page.html_title();
  if (html_title && !html_title->empty() && !is_generic(*html_title)) {
    values.title = text::decode_character_references(*html_title);
  }
}

void repair_and_classify(WorkingValues& values) {
  replace_generic_title(values);
  widen_single_word_title(values);
  if (values.page_type == PageType::UNCATEGORIZED && !values.is_social) values.page_type = classify(values);
  if (is_selling(values.page_type)) {
    infer_from_title(values);
  } else {
    values.sku.reset();
    values.condition.reset();
    values.stock.reset();
  }
}

}  // namespace quillmere::commerce::page
