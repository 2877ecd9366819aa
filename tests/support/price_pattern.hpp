#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "quillmere/commerce/price_normalizer.hpp"
#include "quillmere/commerce/price_normalizer_internal.hpp"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

namespace quillmere {

/// PriceNormalizer::PRICE_PATTERN as it is written, run by a backtracking engine: what `find_price` must agree with.
/// The engine reads bytes, so `\s` is spelled out as the UTF-8 of the 25 whitespace characters.
class PricePattern {
 public:
  using Match = commerce::price_normalizer_internal::PriceMatch;

  PricePattern() {
    const std::string space =
        R"((?:[\x09-\x0D ]|\xC2[\x85\xA0]|\xE1\x9A\x80|\xE2\x80[\x80-\x8A\xA8\xA9\xAF]|\xE2\x81\x9F|\xE3\x80\x80))";
    std::string pattern(commerce::PriceNormalizer::PRICE_PATTERN);
    replace(pattern, R"([,\.\s])", R"((?:[,\.]|\s))");
    replace(pattern, R"(\s)", space);
    int error = 0;
    PCRE2_SIZE offset = 0;
    _code.reset(pcre2_compile(units(pattern), pattern.size(), PCRE2_CASELESS, &error, &offset, nullptr));
    if (!_code) throw std::logic_error("the price pattern does not compile");
    _matches.reset(pcre2_match_data_create_from_pattern(_code.get(), nullptr));
  }

  [[nodiscard]] std::optional<Match> search(std::string_view text) const {
    const int count = pcre2_match(_code.get(), units(text), text.size(), 0, 0, _matches.get(), nullptr);
    if (count == PCRE2_ERROR_NOMATCH) return std::nullopt;
    if (count < 0) throw std::runtime_error("the engine gave up");
    const PCRE2_SIZE* const places = pcre2_get_ovector_pointer(_matches.get());
    const auto group = [&](std::size_t number) -> std::optional<std::string_view> {
      if (places[2 * number] == PCRE2_UNSET) return std::nullopt;
      return text.substr(places[2 * number], places[2 * number + 1] - places[2 * number]);
    };
    return Match{group(1), *group(2), group(3)};
  }

 private:
  struct Free {
    void operator()(pcre2_code* code) const noexcept { pcre2_code_free(code); }
    void operator()(pcre2_match_data* matches) const noexcept { pcre2_match_data_free(matches); }
  };

  static PCRE2_SPTR units(std::string_view text) noexcept { return reinterpret_cast<PCRE2_SPTR>(text.data()); }

  static void replace(std::string& text, std::string_view from, std::string_view to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
      text.replace(at, from.size(), to);
    }
  }

  std::unique_ptr<pcre2_code, Free> _code;
  std::unique_ptr<pcre2_match_data, Free> _matches;
};

}  // namespace quillmere
