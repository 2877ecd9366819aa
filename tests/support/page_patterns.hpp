#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quillmere/commerce/page/elements.hpp"
#include "quillmere/commerce/page/markup.hpp"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

/// The page patterns as they are written, run by a backtracking engine: what the verifiers must agree with. The engine
/// reads bytes; for valid UTF-8 this changes nothing, as every character that the patterns name is ASCII but for
/// whitespace, which is spelled out.
namespace quillmere::page_patterns {

inline const std::string WHITESPACE =
    R"((?:[\x09-\x0D\x20]|\xC2\x85|\xC2\xA0|\xE1\x9A\x80|\xE2\x80[\x80-\x8A\xA8\xA9\xAF]|\xE2\x81\x9F|\xE3\x80\x80))";

struct Match {
  std::size_t end;
  std::string_view group;  // 1, or the whole match of a pattern without groups
};

/// A compiled pattern. A search that the engine gives up on (its limits are no part of the meaning) sets `gave_up`.
class Pattern {
 public:
  explicit Pattern(const std::string& text, std::uint32_t options = PCRE2_CASELESS) {
    int error = 0;
    PCRE2_SIZE offset = 0;
    _code.reset(
        pcre2_compile(reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), options, &error, &offset, nullptr));
    if (!_code) throw std::bad_alloc();
    pcre2_jit_compile(_code.get(), PCRE2_JIT_COMPLETE);
    _data.reset(pcre2_match_data_create_from_pattern(_code.get(), nullptr));
    _limits.reset(pcre2_match_context_create(nullptr));
    pcre2_set_match_limit(_limits.get(), 1'000'000);
  }

  [[nodiscard]] std::optional<Match> first(std::string_view page, std::size_t from = 0) {
    const int count =
        pcre2_match(_code.get(), reinterpret_cast<PCRE2_SPTR>(page.data()), page.size(), from, 0, _data.get(), nullptr);
    gave_up |= count < PCRE2_ERROR_NOMATCH;
    if (count <= 0) return std::nullopt;
    const PCRE2_SIZE* const places = pcre2_get_ovector_pointer(_data.get());
    const std::size_t group = count > 1 ? 2 : 0;
    return Match{places[1], page.substr(places[group], places[group + 1] - places[group])};
  }

  [[nodiscard]] std::optional<std::string_view> first_group(std::string_view page) {
    const auto match = first(page);
    return match ? std::optional(match->group) : std::nullopt;
  }

  [[nodiscard]] std::vector<std::string_view> all_groups(std::string_view page) {
    std::vector<std::string_view> groups;
    for (auto match = first(page); match; match = first(page, match->end)) groups.push_back(match->group);
    return groups;
  }

  bool gave_up = false;

 private:
  struct Free {
    void operator()(pcre2_code* code) const { pcre2_code_free(code); }
    void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
    void operator()(pcre2_match_context* limits) const { pcre2_match_context_free(limits); }
  };
  std::unique_ptr<pcre2_code, Free> _code;
  std::unique_ptr<pcre2_match_data, Free> _data;
  std::unique_ptr<pcre2_match_context, Free> _limits;
};

/// All that is searched for in pages.
struct Patterns {
  Pattern ld_json{R"(<script[^>]+type=["']application/ld\+json["'][^>]*>(.*?)</script>)",
                  PCRE2_CASELESS | PCRE2_DOTALL};
  Pattern page_state{R"(<script[^>]+id=["']__NEXT_DATA__["'][^>]*>(.*?)</script>)", PCRE2_DOTALL};
  Pattern title{R"(<title[^>]*>(.*?)</title>)", PCRE2_CASELESS | PCRE2_DOTALL};
  Pattern meta{"<meta" + WHITESPACE + "+([^>]+)>"};
  Pattern meta_key{R"((?:property|name)=["']([^"']+)["'])"};
  Pattern meta_value{R"(content=["']([^"']*)["'])"};
  Pattern shop_price{
      R"(class=["'][^"']*woocommerce-Price-amount[^"']*["'][^>]*>(?:<bdi>)?(?:<span[^>]*>[^<]*</span>)?([\d,]+(?:\.\d{2})?))"};
  Pattern microdata_price{R"(itemprop=["']price["'][^>]*content=["']([\d,]+(?:\.\d{2})?)["'])"};
  Pattern microdata_currency{R"(itemprop=["']priceCurrency["'][^>]*content=["']([A-Z]{3})["'])"};
  Pattern microdata_identifier{R"(itemprop=["']sku["'][^>]*content=["']([^"']+)["'])"};
  Pattern identifier_element{R"(<span[^>]*class=["'][^"']*sku[^"']*["'][^>]*>([^<]+)</span>)"};
  Pattern identifier_attribute{R"(data-product_sku=["']([^"']+)["'])"};
  Pattern in_stock_class{R"(class=["'][^"']*\binstock\b[^"']*["'])"};
  Pattern out_of_stock_class{R"(class=["'][^"']*\boutofstock\b[^"']*["'])"};
  Pattern in_stock_term{R"(schema\.org/instoc(?:k|\xE2\x84\xAA))"};
  Pattern out_of_stock_term{R"(schema\.org/outofstoc(?:k|\xE2\x84\xAA))"};
};

/// One difference between a verifier and its pattern, in words.
struct Difference {
  std::string_view pattern;
  std::string verifier;
  std::string engine;
};

inline std::string in_words(bool found) {
  return found ? "found" : "not found";
}
inline std::string in_words(std::string_view slice) {
  return '[' + std::string(slice) + ']';
}
template <class Slice>
std::string in_words(const std::optional<Slice>& capture) {
  return capture ? in_words(*capture) : "no match";
}
template <class Slice>
std::string in_words(const std::vector<Slice>& captures) {
  std::string words = std::to_string(captures.size()) + ':';
  for (const auto& capture : captures) words += in_words(capture);
  return words;
}

/// Slices of one page are the same when they stand at the same place.
inline bool is_same(bool left, bool right) {
  return left == right;
}
inline bool is_same(std::string_view left, std::string_view right) {
  return left.data() == right.data() && left.size() == right.size();
}
template <class Slice>
bool is_same(const std::optional<Slice>& left, const std::optional<Slice>& right) {
  return left.has_value() == right.has_value() && (!left || is_same(*left, *right));
}
template <class Slice>
bool is_same(const std::vector<Slice>& left, const std::vector<Slice>& right) {
  bool same = left.size() == right.size();
  for (std::size_t i = 0; same && i < left.size(); ++i) same = is_same(left[i], right[i]);
  return same;
}

inline std::vector<std::string_view> meta_captures(Patterns& patterns, std::string_view page) {
  std::vector<std::string_view> captures;
  for (const std::string_view attributes : patterns.meta.all_groups(page)) {
    const auto key = patterns.meta_key.first_group(attributes);
    const auto value = patterns.meta_value.first_group(attributes);
    if (key && value) captures.insert(captures.end(), {*key, *value});
  }
  return captures;
}

inline std::vector<std::string_view> meta_captures(const commerce::page::LiteralIndex& index) {
  std::vector<std::string_view> captures;
  commerce::page::MetaTags tags(index);
  while (const auto tag = tags.next()) captures.insert(captures.end(), {tag->key, tag->value});
  return captures;
}

inline std::vector<std::string_view> bodies(const commerce::page::LiteralIndex& index,
                                            const commerce::page::ScriptKind& kind) {
  std::vector<std::string_view> all;
  commerce::page::ScriptBodies scripts(index, kind);
  while (const auto body = scripts.next()) all.push_back(*body);
  return all;
}

/// Compares every verifier with its pattern on the page of `index`; searches that the engine gave up on count as equal.
inline std::vector<Difference> differences(const commerce::page::LiteralIndex& index, Patterns& patterns) {
  namespace verify = commerce::page;
  const std::string_view page = index.page();
  std::vector<Difference> found;
  const auto compare = [&](std::string_view name, Pattern& pattern, const auto& verifier, const auto& engine) {
    if (!pattern.gave_up && !is_same(verifier, engine)) found.push_back({name, in_words(verifier), in_words(engine)});
    pattern.gave_up = false;
  };
  const auto compare_first = [&](std::string_view name, Pattern& pattern, const auto& verifier) {
    const auto group = pattern.first_group(page);
    if constexpr (std::is_same_v<std::decay_t<decltype(verifier)>, bool>) {
      compare(name, pattern, verifier, group.has_value());
    } else {
      compare(name, pattern, verifier, group);
    }
  };
  compare("ld_json", patterns.ld_json, bodies(index, verify::LD_JSON), patterns.ld_json.all_groups(page));
  compare("page_state", patterns.page_state, bodies(index, verify::PAGE_STATE), patterns.page_state.all_groups(page));
  compare("meta", patterns.meta, meta_captures(index), meta_captures(patterns, page));
  compare_first("title", patterns.title, verify::title_text(index));
  compare_first("shop_price", patterns.shop_price, verify::shop_price(index));
  compare_first("microdata_price", patterns.microdata_price, verify::microdata_price(index));
  compare_first("microdata_currency", patterns.microdata_currency, verify::microdata_currency(index));
  compare_first("microdata_identifier", patterns.microdata_identifier, verify::microdata_identifier(index));
  compare_first("identifier_element", patterns.identifier_element, verify::identifier_element(index));
  compare_first("identifier_attribute", patterns.identifier_attribute, verify::identifier_attribute(index));
  compare_first("in_stock_class", patterns.in_stock_class, verify::has_in_stock_class(index));
  compare_first("out_of_stock_class", patterns.out_of_stock_class, verify::has_out_of_stock_class(index));
  compare_first("in_stock_term", patterns.in_stock_term, verify::mentions_in_stock(index));
  compare_first("out_of_stock_term", patterns.out_of_stock_term, verify::mentions_out_of_stock(index));
  return found;
}

}  // namespace quillmere::page_patterns
