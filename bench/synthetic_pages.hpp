#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

/// Pages of realistic shape that need no files: the shares of scripts, styles, drawings, markup and text, and how often
/// the searched literals occur among them, follow what real shop and article pages have. The same on every machine.
namespace quillmere::bench {

class SyntheticPages {
 public:
  /// Pages of 60 KB to 1.2 MB; shop pages have products, the others articles.
  static std::vector<std::string> shops(std::size_t count) { return SyntheticPages(1)._pages(count, true); }
  static std::vector<std::string> articles(std::size_t count) { return SyntheticPages(2)._pages(count, false); }

 private:
  explicit SyntheticPages(unsigned seed) : _random(seed) {}

  std::vector<std::string> _pages(std::size_t count, bool is_shop) {
    std::vector<std::string> pages;
    for (std::size_t i = 0; i < count; ++i) {
      // Most pages are a few hundred KB, some much larger.
      const std::size_t size = 60'000 + _below(340'000) + (_below(5) == 0 ? _below(800'000) : 0);
      pages.push_back(_page(is_shop ? size : size / 2, is_shop));
    }
    return pages;
  }

  std::string _page(std::size_t size, bool is_shop) {
    _out.clear();
    _head(is_shop);
    _fill(size * 9 / 100, [this] { _style_rule(); });
    _out += "</style></head>\n<body class=\"page\">\n";
    if (is_shop) _product_markup();
    _fill(size * 40 / 100, [this, is_shop] { is_shop ? _product_card() : _paragraph(); });
    _fill(size * 10 / 100, [this] { _drawing(); });
    if (is_shop && _below(3) == 0) _page_state(size / 6);
    _out += "<script>";
    while (_out.size() < size) _statement();
    return std::move(_out += "</script></body></html>\n");
  }

  template <class Write>
  void _fill(std::size_t bytes, Write write) {
    for (const std::size_t end = _out.size() + bytes; _out.size() < end;) write();
  }

  void _head(bool is_shop) {
    _out += "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n  <meta charset=\"utf-8\">\n  <title>";
    _words(4);
    _out += " | Example Outfitters</title>\n";
    for (const std::string_view key : {"description", "viewport", "twitter:card", "author"}) _meta("name", key);
    for (const std::string_view key : {"og:title", "og:type", "og:image", "og:url", "og:site_name"})
      _meta("property", key);
    for (int i = 0; i < 12; ++i)
      _out += "  <link rel=\"preload\" as=\"script\" href=\"/assets/" + _identifier() + ".js\">\n";
    const std::size_t blocks = is_shop ? 1 + _below(3) : 1;
    for (std::size_t i = 0; i < blocks; ++i) _json_ld(is_shop && i + 1 == blocks && _below(5) != 0);
    if (is_shop && _below(3) == 0) _meta("property", "product:price:amount");
    _out += "<style>";
  }

  void _meta(std::string_view kind, std::string_view key) {
    _out.append("  <meta ").append(kind).append("=\"").append(key).append("\" content=\"");
    _words(6);
    _out += "\" />\n";
  }

  void _json_ld(bool is_product) {
    _out += "<script type=\"application/ld+json\">";
    if (is_product) {
      _json_product();
    } else {
      _out += R"({"@context":"https://schema.org","@type":"BreadcrumbList","itemListElement":[)";
      for (int i = 0; i < 4; ++i)
        _out += R"({"@type":"ListItem","position":1,"item":"https://shop.example/)" + _identifier() + "\"},";
      _out += "{}]}";
    }
    _out += "</script>\n";
  }

  void _json_product() {
    _out += R"({"@context":"https://schema.org","@type":"Product","name":")";
    _words(5);
    _out += R"(","description":")";
    _words(40 + _below(60));
    _out += R"(","image":["https://cdn.shop.example/)" + _identifier() +
            R"(.jpg"],"brand":{"@type":"Brand","name":"Acme"},)";
    _out += R"("sku":")" + _identifier() + R"(","offers":[)";
    for (std::size_t i = 0; i < 1 + _below(6); ++i) {
      _out +=
          R"({"@type":"Offer","price":"49.90","priceCurrency":"EUR","availability":"https://schema.org/InStock","url":")";
      _out += "https://shop.example/" + _identifier() + R"("},)";
    }
    _out += "{}]}";
  }

  void _page_state(std::size_t bytes) {
    _out += R"(<script id="__NEXT_DATA__" type="application/json">{"props":{"pageProps":{"items":[)";
    _fill(bytes, [this] { _json_product(), _out += ','; });
    _out += "{}]}}}</script>\n";
  }

  void _product_markup() {
    _out +=
        "<div itemscope itemtype=\"https://schema.org/Product\">\n<p class=\"price\"><span "
        "class=\"amount\">$49.90</span></p>\n";
    if (_below(4) == 0)
      _out += "<meta itemprop=\"price\" content=\"49.90\"><meta itemprop=\"priceCurrency\" content=\"EUR\">\n";
    if (_below(4) == 0)
      _out += "<span class=\"sku_wrapper\">SKU: <span class=\"sku\">A-1</span></span><p class=\"stock in-stock\">\n";
    _out += "</div>\n";
  }

  void _product_card() {
    _out += "        <div class=\"card card--" + _identifier() + "\" data-id=\"" + _identifier() + "\">\n";
    _out += "          <a class=\"card__link\" href=\"/products/" + _identifier() + "\" title=\"";
    _words(4);
    _out +=
        "\">\n            <img class=\"lazyload card__image\" src=\"data:image/gif;base64,R0lGODlhAQABAIAAAAAAAP\" "
        "data-src=\"//cdn.shop.example/";
    _out += _identifier() + ".jpg?width=600\" alt=\"";
    _words(4);
    _out +=
        "\">\n            <span class=\"card__price\">$" + std::to_string(_below(900)) + ".00</span>\n          </a>\n";
    if (_below(4) == 0)
      _out += "          <button data-product-sku=\"" + _identifier() + "\" aria-label='Add'>Add</button>\n";
    _out += "        </div>\n";
  }

  void _paragraph() {
    _out += "    <div class=\"block\"><h3 id=\"" + _identifier() + "\">";
    _words(5);
    _out += "</h3>\n      <p class=\"text text--" + _identifier() + "\">";
    for (std::size_t i = _below(3); i < 4; ++i) {
      _words(10 + _below(20));
      _out +=
          "<a class=\"link\" href=\"https://news.example/" + _identifier() + "\" rel=\"noopener\"><span class=\"u\">";
      _words(2);
      _out += "</span></a> ";
    }
    _out += "</p></div>\n";
  }

  void _style_rule() {
    _out += ".card--" + _identifier() + " .price{margin:0 auto;padding:" + std::to_string(_below(40)) +
            "px;color:#1a1a1a}\n";
  }

  void _drawing() {
    _out += "<svg class=\"icon\" viewBox=\"0 0 24 24\"><path d=\"M";
    for (int i = 0; i < 60; ++i)
      _out += std::to_string(_below(24)) + "." + std::to_string(_below(100)) + (i % 3 == 0 ? "c-" : " ");
    _out += "z\"/></svg>\n";
  }

  void _statement() {
    _out += "var " + _identifier() + "=function(e,t){return e." + _identifier() + "?t(\"" + _identifier() +
            "\"):{\"type\":!0,\"" + _identifier() + "\":[1,2],\"class\":\"s\"}};";
    if (_below(100) == 0) _out += "</script>\n<script>";
    if (_below(40) == 0) _out += "{\"sku\":\"" + _identifier() + "\",\"stock\":\"customer support protocol\"}";
  }

  void _words(std::size_t count) {
    static constexpr std::array<std::string_view, 16> WORDS = {"soft",
                                                               "leather",
                                                               "running",
                                                               "shoes",
                                                               "with",
                                                               "a",
                                                               "Gr\xC3\xB6\xC3\x9F"
                                                               "e",
                                                               "classic",
                                                               "and",
                                                               "the",
                                                               "of",
                                                               "delivery",
                                                               "today",
                                                               "organic",
                                                               "cotton",
                                                               "collection"};
    for (; count > 0; --count) _out.append(WORDS[_below(WORDS.size())]).append(" ");
  }

  std::string _identifier() {
    static constexpr std::string_view LETTERS = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::string text;
    for (std::size_t length = 4 + _below(8); length > 0; --length) text += LETTERS[_below(LETTERS.size())];
    return text;
  }

  std::size_t _below(std::size_t limit) { return _random() % limit; }

  std::mt19937 _random;
  std::string _out;
};

}  // namespace quillmere::bench
