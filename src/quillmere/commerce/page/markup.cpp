#include "quillmere/commerce/page/markup.hpp"

#include <cstddef>

#include "quillmere/commerce/page/scan.hpp"

namespace quillmere::commerce::page {
namespace {

constexpr bool is_digit(char byte) noexcept {
  return byte >= '0' && byte <= '9';
}
constexpr bool is_letter(char byte) noexcept {
  return fold(byte) >= 'a' && fold(byte) <= 'z';
}
constexpr bool is_word(char byte) noexcept {
  return is_letter(byte) || is_digit(byte) || byte == '_';
}

// A class attribute that holds a literal: class=["'][^"']*literal[^"']*["'].
struct ClassAttribute {
  std::size_t begin;  // of "class="
  std::size_t behind;
};

// The class attributes around literals (which hold no quote), asked for in ascending order.
class ClassAttributes {
 public:
  explicit ClassAttributes(std::string_view page) noexcept : _page(page), _openings(page), _closings(page) {}

  std::optional<ClassAttribute> around(std::size_t literal, std::size_t literal_end) noexcept {
    constexpr std::string_view NAME = "class=";
    const std::size_t value = _openings.after_last_before(literal);
    if (value == _value) return _attribute;
    _value = value;
    _attribute.reset();
    if (ends_at(_page, value - 1, NAME)) {
      const std::size_t closing = _closings.from(literal_end);
      if (closing != NOWHERE) _attribute = {value - 1 - NAME.size(), closing + 1};
    }
    return _attribute;
  }

 private:
  std::string_view _page;
  Behind<is_quote> _openings;
  Ahead<find_quote> _closings;
  std::size_t _value = 0;  // of the last answer, where a value begins behind its quote; 0 is behind none
  std::optional<ClassAttribute> _attribute;
};

// [\d,]+(?:\.\d{2})? at `at`; empty when it does not match.
std::string_view price_at(std::string_view page, std::size_t at) noexcept {
  std::size_t end = at;
  while (end < page.size() && (is_digit(page[end]) || page[end] == ',')) ++end;
  if (end == at || at >= page.size()) return {};
  const bool has_cents =
      page.size() - end >= 3 && page[end] == '.' && is_digit(page[end + 1]) && is_digit(page[end + 2]);
  return page.substr(at, end - at + (has_cents ? 3 : 0));
}

// (?:<bdi>)?(?:<span[^>]*>[^<]*</span>)? at `at`: where it ends. An optional piece that stands there must be taken: no
// price begins with its '<'.
std::size_t behind_currency_sign(std::string_view page, std::size_t at) noexcept {
  constexpr std::string_view BDI = "<bdi>";
  constexpr std::string_view SPAN = "<span";
  constexpr std::string_view SPAN_END = "</span>";
  if (stands_at(page, at, BDI)) at += BDI.size();
  if (!stands_at(page, at, SPAN)) return at;
  const std::size_t tag_end = find_tag_end(page, at + SPAN.size());
  if (tag_end == NOWHERE) return NOWHERE;
  const std::size_t text_end = find_tag_start(page, tag_end + 1);
  return stands_at(page, text_end, SPAN_END) ? text_end + SPAN_END.size() : NOWHERE;
}

// What may stand in the content attribute of a microdata element. Each reads a value that begins at `at`, and gives
// nothing when it, or the quote that closes it, is not there.

std::optional<std::string_view> quoted_price(std::string_view page, std::size_t at) noexcept {
  const std::string_view price = price_at(page, at);
  if (price.empty() || !quote_at(page, at + price.size())) return std::nullopt;
  return price;
}

std::optional<std::string_view> quoted_currency(std::string_view page, std::size_t at) noexcept {
  constexpr std::size_t LETTERS = 3;
  if (!quote_at(page, at + LETTERS)) return std::nullopt;
  const std::string_view code = page.substr(at, LETTERS);
  return is_letter(code[0]) && is_letter(code[1]) && is_letter(code[2]) ? std::optional(code) : std::nullopt;
}

std::optional<std::string_view> quoted_text(std::string_view page, std::size_t at) noexcept {
  const std::size_t end = find_quote(page, at);
  return end == NOWHERE || end == at ? std::nullopt : std::optional(page.substr(at, end - at));
}

using ReadValue = std::optional<std::string_view>(std::string_view page, std::size_t at) noexcept;

// [^>]*content=["'](value)["'] at `from`, which is behind a quote, the rest of the tag going to `end`. The pattern is
// greedy: the last content attribute that holds a value wins.
std::optional<std::string_view> last_content(std::string_view page, std::size_t from, std::size_t end,
                                             ReadValue* read) {
  constexpr std::string_view NAME = "content=";
  std::optional<std::string_view> last;
  const std::string_view tag = page.substr(0, end);
  for (std::size_t at = tag.find('=', from); at != NOWHERE; at = tag.find('=', at + 1)) {
    const std::size_t behind = at + 1;
    if (!ends_at(page, behind, NAME) || !quote_at(page, behind)) continue;
    if (const auto value = read(page, behind + 1)) last = value;
  }
  return last;
}

// itemprop=["']name["'][^>]*content=["'](value)["']
std::optional<std::string_view> microdata(const LiteralIndex& index, std::string_view name, ReadValue* read) {
  constexpr std::string_view ATTRIBUTE = "itemprop=";
  const std::string_view page = index.page();
  std::size_t judged_to = 0;
  for (const std::size_t anchor : index.positions(Literal::itemprop)) {
    const std::size_t opening = anchor + ATTRIBUTE.size();
    const std::size_t closing = opening + 1 + name.size();
    if (anchor < judged_to || !quote_at(page, opening) || !stands_at(page, opening + 1, name)) continue;
    if (!quote_at(page, closing)) continue;
    const std::size_t tag_end = find_tag_end(page, closing + 1);
    if (const auto value = last_content(page, closing + 1, tag_end, read)) return value;
    // A later anchor in this tag sees less of it.
    judged_to = tag_end;
  }
  return std::nullopt;
}

// [^>]*>([^<]+)</span>, asked for at places that never move backwards.
class SpanTexts {
 public:
  explicit SpanTexts(std::string_view page) noexcept : _page(page), _tag_ends(page), _text_ends(page) {}

  std::optional<std::string_view> from(std::size_t at) noexcept {
    const std::size_t tag_end = _tag_ends.from(at);
    if (tag_end == NOWHERE) return std::nullopt;
    const std::size_t text_end = _text_ends.from(tag_end + 1);
    if (text_end == tag_end + 1 || !stands_at(_page, text_end, "</span>")) return std::nullopt;
    return _page.substr(tag_end + 1, text_end - tag_end - 1);
  }

 private:
  std::string_view _page;
  Ahead<find_tag_end> _tag_ends;
  Ahead<find_tag_start> _text_ends;
};

bool has_class(const LiteralIndex& index, Literal literal, std::string_view word) {
  const std::string_view page = index.page();
  ClassAttributes classes(page);
  for (const std::size_t anchor : index.positions(literal)) {
    const std::size_t end = anchor + word.size();
    if (!stands_at(page, anchor, word)) continue;
    if (anchor > 0 && is_word(page[anchor - 1])) continue;
    if (end < page.size() && is_word(page[end])) continue;
    if (classes.around(anchor, end)) return true;
  }
  return false;
}

// `word` is the indexed text and its "k".
bool mentions_term(const LiteralIndex& index, Literal literal, std::string_view word) {
  constexpr std::size_t KELVIN_SIGN = 3;
  const std::string_view page = index.page();
  for (const std::size_t anchor : index.positions(literal)) {
    if (!ends_at(page, anchor, "schema.org/")) continue;
    if (stands_at(page, anchor, word) || lower_case_is(page.substr(anchor, word.size() - 1 + KELVIN_SIGN), word))
      return true;
  }
  return false;
}

}  // namespace

std::optional<std::string_view> shop_price(const LiteralIndex& index) {
  constexpr std::string_view NAME = "woocommerce-price-amount";
  const std::string_view page = index.page();
  ClassAttributes classes(page);
  Ahead<find_tag_end> tag_ends(page);
  std::size_t judged = NOWHERE;
  for (const std::size_t anchor : index.positions(Literal::shop_price)) {
    const auto attribute = classes.around(anchor, anchor + NAME.size());
    if (!attribute) continue;
    const std::size_t tag_end = tag_ends.from(attribute->behind);
    if (tag_end == NOWHERE) return std::nullopt;
    if (tag_end == judged) continue;
    judged = tag_end;
    const std::string_view price = price_at(page, behind_currency_sign(page, tag_end + 1));
    if (!price.empty()) return price;
  }
  return std::nullopt;
}

std::optional<std::string_view> microdata_price(const LiteralIndex& index) {
  return microdata(index, "price", quoted_price);
}

std::optional<std::string_view> microdata_currency(const LiteralIndex& index) {
  return microdata(index, "pricecurrency", quoted_currency);
}

std::optional<std::string_view> microdata_identifier(const LiteralIndex& index) {
  return microdata(index, "sku", quoted_text);
}

// The tag must begin behind the last '>' before its class attribute, so the class attributes that share this '>' form a
// group that one "<span", the first, can reach. Of a group the last attribute that leads to a text wins, as [^>]* is
// greedy; of the groups the first.
std::optional<std::string_view> identifier_element(const LiteralIndex& index) {
  constexpr std::string_view WORD = "sku";
  constexpr std::string_view SPAN = "<span";
  const std::string_view page = index.page();
  ClassAttributes classes(page);
  Behind<is_tag_end> groups(page);
  SpanTexts texts(page);
  std::size_t group = 0;  // where the group of the winner so far begins
  std::size_t winner = 0;
  std::optional<std::string_view> text;
  const auto is_in_span = [&] { return find_tag(page, SPAN, group, winner) != NOWHERE; };

  for (const std::size_t anchor : index.positions(Literal::sku)) {
    const auto attribute = classes.around(anchor, anchor + WORD.size());
    if (!attribute) continue;
    const std::size_t its_group = groups.after_last_before(attribute->begin);
    if (text && its_group != group) {
      if (is_in_span()) return text;
      text.reset();
    }
    if (const auto its_text = texts.from(attribute->behind)) {
      group = its_group;
      winner = attribute->begin;
      text = its_text;
    }
  }
  return text && is_in_span() ? text : std::nullopt;
}

std::optional<std::string_view> identifier_attribute(const LiteralIndex& index) {
  const std::string_view page = index.page();
  for (const std::size_t anchor : index.positions(Literal::sku)) {
    const std::size_t opening = anchor + 4;
    if (!ends_at(page, anchor, "data-product_") || !stands_at(page, anchor, "sku=") || !quote_at(page, opening))
      continue;
    if (const auto value = quoted_text(page, opening + 1)) return value;
  }
  return std::nullopt;
}

bool has_in_stock_class(const LiteralIndex& index) {
  return has_class(index, Literal::in_stock, "instock");
}

bool has_out_of_stock_class(const LiteralIndex& index) {
  return has_class(index, Literal::out_of_stock, "outofstock");
}

bool mentions_in_stock(const LiteralIndex& index) {
  return mentions_term(index, Literal::in_stock, "instock");
}

bool mentions_out_of_stock(const LiteralIndex& index) {
  return mentions_term(index, Literal::out_of_stock, "outofstock");
}

}  // namespace quillmere::commerce::page
