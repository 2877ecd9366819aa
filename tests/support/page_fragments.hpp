#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <string_view>

/// Fragments of pages that nearly match the page patterns, or do: the tokens of one pattern in order, with some
/// dropped, doubled, swapped or replaced, between loose tokens. The same seed gives the same fragments everywhere.
namespace quillmere {

class PageFragments {
 public:
  explicit PageFragments(std::uint64_t seed) : _random(seed) {}

  [[nodiscard]] const std::string& next() {
    _fragment.clear();
    auto shape = SHAPES[_below(SHAPES.size())];
    for (std::size_t pieces = 1 + _below(5); pieces > 0; --pieces) {
      if (_below(2) == 0) shape = SHAPES[_below(SHAPES.size())];
      if (_below(4) == 0) {
        for (std::size_t tokens = _below(16); tokens > 0; --tokens) _append(_any_of(shape));
      } else {
        _append_shape(shape);
      }
    }
    return _fragment;
  }

 private:
  using Shape = std::span<const std::string_view>;

  void _append_shape(Shape shape) {
    for (std::size_t i = 0; i < shape.size(); ++i) {
      switch (_below(24)) {
        case 0:
          break;
        case 1:
          _append(shape[i]), _append(shape[i]);
          break;
        case 2:
          _append(_any_of(shape));
          break;
        case 3:
          _append(_any_of(shape)), _append(shape[i]);
          break;
        case 4:
          _append(_any_of(LOOSE)), _append(shape[i]);
          break;
        case 5:
          i = _below(shape.size());
          [[fallthrough]];
        default:
          _append(shape[i]);
      }
    }
  }

  void _append(std::string_view token) {
    const std::size_t begin = _fragment.size();
    _fragment += token;
    if (_below(12) != 0) return;
    for (std::size_t i = begin; i < _fragment.size(); ++i) {
      const char letter = _fragment[i];
      const bool is_letter = (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z');
      if (is_letter && _below(2) == 0) _fragment[i] = static_cast<char>(letter ^ 0x20);
    }
  }

  std::string_view _any_of(Shape tokens) { return tokens[_below(tokens.size())]; }
  std::size_t _below(std::size_t limit) { return static_cast<std::size_t>(_random() % limit); }

  template <std::size_t N>
  using Tokens = std::array<std::string_view, N>;

  // clang-format off
  static constexpr Tokens<40> LOOSE = {
      "\"", "'", "\"", ">", ">", "<", " ", "\n", "=", "/", "a", "_", "-", "0", ",", ".", "12.50", "<span", "<span>",
      "</span>", "class=", "class=\"", "sku", "content=", "content=\"", "<meta", "<script", "<script ", "</script>",
      "<title", "</title>", "instock", "outofstock", "\xC2\xA0", "\xE2\x80\x83", "\xE2\x84\xAA", "\xC3\xA9",
      "itemprop=", "name=", "<bdi>"};
  // clang-format on
  static constexpr Tokens<11> LD_JSON_SHAPE = {"<script", " ", "x",  " ",        "type=", "\"", "application/ld+json",
                                               "\"",      ">", "{}", "</script>"};
  static constexpr Tokens<9> LD_JSON_TWICE_SHAPE = {
      "<script", "type=", "'", "application/ld+json", "\"", "type=", "\"", "application/ld+json", "' ></script>"};
  static constexpr Tokens<10> STATE_SHAPE = {"<script", " ",  "id=", "\"", "__NEXT_DATA__",
                                             "\"",      " a", ">",   "{}", "</script>"};
  static constexpr Tokens<13> META_SHAPE = {"<meta", " ",       "property", "=",  "\"", "og:Title", "\"",
                                            " ",     "content", "=",        "\"", "v",  "\""};
  static constexpr Tokens<9> META_NAME_SHAPE = {"<meta", "\n", "content=\"", "", "' ", "name='", "author", "\"", ">"};
  static constexpr Tokens<5> TITLE_SHAPE = {"<title", " x", ">", "Red  Shoes", "</title>"};
  static constexpr Tokens<15> SHOP_SHAPE = {
      "class=", "\"",      "a ",      "woocommerce-Price-amount", " b", "\"", " id=x", ">", "<bdi>", "<span", " y", ">",
      "$",      "</span>", "1,299.00"};
  static constexpr Tokens<9> PRICE_SHAPE = {"itemprop=", "\"", "price", "\"", " ", "content=", "\"", "49.90", "\""};
  static constexpr Tokens<9> CURRENCY_SHAPE = {"itemprop=", "'",  "priceCurrency", "\"", " ",
                                               "content=",  "\"", "EUR",           "\""};
  static constexpr Tokens<11> SKU_SHAPE = {
      "itemprop=", "\"", "sku", "\"", " ", "content=", "\"", "A-1", "\"", "content=", "\""};
  static constexpr Tokens<10> ELEMENT_SHAPE = {"<span", " ", "class=", "\"", "x ", "sku", "\"", ">", "A-1", "</span>"};
  static constexpr Tokens<15> ELEMENTS_SHAPE = {
      "<span", " ", "class=", "\"", "sku", "\"", " ", "class=", "'", ">", "sku", "'", ">", "A-2", "</span>"};
  static constexpr Tokens<6> ATTRIBUTE_SHAPE = {"data-product_", "sku", "=", "\"", "A-3", "\""};
  static constexpr Tokens<7> STOCK_SHAPE = {"class=", "\"", "x", " ", "instock", " ", "\""};
  static constexpr Tokens<7> SOLD_SHAPE = {"class=", "'", "x", "-", "outofstock", "", "\""};
  static constexpr Tokens<4> TERM_SHAPE = {"schema.org/", "instoc", "k", " "};
  static constexpr Tokens<4> SOLD_TERM_SHAPE = {"schema.org/", "outofstoc", "\xE2\x84\xAA", " "};

  // clang-format off
  static constexpr std::array<Shape, 18> SHAPES = {
      LD_JSON_TWICE_SHAPE, LOOSE, LD_JSON_SHAPE, STATE_SHAPE, META_SHAPE, META_NAME_SHAPE, TITLE_SHAPE, SHOP_SHAPE,
      PRICE_SHAPE, CURRENCY_SHAPE, SKU_SHAPE, ELEMENT_SHAPE, ELEMENTS_SHAPE, ATTRIBUTE_SHAPE, STOCK_SHAPE, SOLD_SHAPE,
      TERM_SHAPE, SOLD_TERM_SHAPE};
  // clang-format on

  std::mt19937_64 _random;
  std::string _fragment;
};

}  // namespace quillmere
