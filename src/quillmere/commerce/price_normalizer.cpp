#include "quillmere/commerce/price_normalizer.hpp"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include "quillmere/commerce/price_normalizer_internal.hpp"
#include "quillmere/parser.hpp"
#include "quillmere/text/number.hpp"
#include "quillmere/text/unicode.hpp"

namespace quillmere::commerce {
namespace {

using price_normalizer_internal::PriceMatch;

constexpr std::array<std::string_view, 5> PATTERN_PIECES = {
    R"re((?:()re",
    parser::CURRENCY_TOKEN_PATTERN,
    R"re()\s*)?([0-9]+(?:[,\.\s][0-9]+)*)(?:\s*()re",
    parser::CURRENCY_TOKEN_PATTERN,
    R"re())?)re",
};

constexpr std::size_t PATTERN_SIZE = [] {
  std::size_t size = 0;
  for (const std::string_view piece : PATTERN_PIECES) size += piece.size();
  return size;
}();

constexpr std::array<char, PATTERN_SIZE> PATTERN = [] {
  std::array<char, PATTERN_SIZE> pattern{};
  auto end = pattern.begin();
  for (const std::string_view piece : PATTERN_PIECES) end = std::ranges::copy(piece, end).out;
  return pattern;
}();

constexpr std::size_t TOKEN_COUNT =
    1 + static_cast<std::size_t>(std::ranges::count(parser::CURRENCY_TOKEN_PATTERN, '|'));
constexpr std::size_t LONGEST_TOKEN = 8;

/// A token of CURRENCY_TOKEN_PATTERN as the text that it matches, in capitals.
struct Token {
  std::array<char, LONGEST_TOKEN> characters{};
  std::size_t size = 0;

  [[nodiscard]] constexpr std::string_view text() const noexcept { return {characters.data(), size}; }
};

/// The alternatives of CURRENCY_TOKEN_PATTERN, in order, without the escapes.
constexpr std::array<Token, TOKEN_COUNT> TOKENS = [] {
  std::array<Token, TOKEN_COUNT> tokens;
  auto token = tokens.begin();
  for (const char character : parser::CURRENCY_TOKEN_PATTERN) {
    if (character == '|') {
      ++token;
    } else if (character != '\\') {
      token->characters.at(token->size++) = character;
    }
  }
  return tokens;
}();

// What `find_price` relies on. Tokens hold neither digits nor whitespace, and are literals of the pattern: its only
// special characters are "|" and escaped dollar signs. At most one token begins at any place.
static_assert(parser::CURRENCY_TOKEN_PATTERN.find_first_of("0123456789 \t\n.*+?()[]{}^abcdefghijklmnopqrstuvwxyz") ==
              std::string_view::npos);
static_assert([] {
  constexpr std::string_view pattern = parser::CURRENCY_TOKEN_PATTERN;
  for (std::size_t at = 0; at < pattern.size(); ++at) {
    if ((pattern[at] == '$') != (at > 0 && pattern[at - 1] == '\\')) return false;
  }
  return true;
}());
static_assert(std::ranges::all_of(TOKENS, [](const Token& token) {
  return token.size > 0 &&
         std::ranges::count_if(TOKENS, [&](const Token& other) { return other.text().starts_with(token.text()); }) == 1;
}));
static_assert(std::ranges::all_of(CURRENCY_MAP, [](const CurrencyToken& row) {
  return std::ranges::any_of(TOKENS, [&](const Token& token) { return token.text() == row.token; });
}));

constexpr bool is_digit(char character) noexcept {
  return character >= '0' && character <= '9';
}

/// Whether `text` is `token`, letters of either case.
bool is_token(std::string_view text, std::string_view token) noexcept {
  return std::ranges::equal(text, token, [](char character, char capital) {
    return character == capital || (capital >= 'A' && capital <= 'Z' && character == capital + ('a' - 'A'));
  });
}

/// The token that `text` begins with.
std::optional<std::string_view> leading_token(std::string_view text) noexcept {
  for (const Token& token : TOKENS) {
    const std::string_view candidate = text.substr(0, token.size);
    if (is_token(candidate, token.text())) return candidate;
  }
  return std::nullopt;
}

/// The longest token that `text` ends with: of "US$" and "$" the search meets the longer one first, further left.
std::optional<std::string_view> trailing_token(std::string_view text) noexcept {
  std::optional<std::string_view> longest;
  for (const Token& token : TOKENS) {
    if (token.size > text.size() || (longest && token.size <= longest->size())) continue;
    const std::string_view candidate = text.substr(text.size() - token.size);
    if (is_token(candidate, token.text())) longest = candidate;
  }
  return longest;
}

/// Length in bytes of the separator that `text` begins with, 0 when it begins with none.
std::size_t leading_separator(std::string_view text) noexcept {
  if (text.starts_with(',') || text.starts_with('.')) return 1;
  return text::leading_whitespace(text);
}

/// The number that `text`, which begins with a digit, begins with: digits with single separators between them.
std::string_view leading_number(std::string_view text) noexcept {
  std::size_t end = 0;
  for (std::size_t next = 0; next < text.size() && is_digit(text[next]);) {
    end = next + 1;
    next = end < text.size() && is_digit(text[end]) ? end : end + leading_separator(text.substr(end));
  }
  return text.substr(0, end);
}

/// `number` as digits with a "." for the decimal point, as far as it is a number at all.
std::string without_grouping(std::string_view number) {
  std::string amount(number);
  std::erase(amount, ' ');
  const std::size_t comma = amount.find(',');
  const std::size_t point = amount.find('.');
  if (comma == std::string::npos) return amount;
  const bool is_decimal_comma =
      point != std::string::npos ? point < comma : comma == amount.rfind(',') && amount.size() == comma + 3;
  if (is_decimal_comma) {
    std::erase(amount, '.');
    std::ranges::replace(amount, ',', '.');
  } else {
    std::erase(amount, ',');
  }
  return amount;
}

std::string currency_code(std::string_view token) {
  const std::string upper = text::to_upper(token);
  const std::string_view key = text::strip(upper);
  const auto* const row = std::ranges::find(CURRENCY_MAP, key, &CurrencyToken::token);
  return std::string(row != CURRENCY_MAP.end() ? row->code : key);
}

std::string_view currency_token(const PriceMatch& match, std::optional<std::string_view> hint) noexcept {
  if (match.prefix) return *match.prefix;
  if (match.suffix) return *match.suffix;
  return hint && !hint->empty() ? *hint : "USD";
}

}  // namespace

namespace price_normalizer_internal {

std::optional<PriceMatch> find_price(std::string_view text) noexcept {
  // A match holds a digit, and before its first digit nothing but a token and whitespace. So it begins at the first
  // digit of the text, or at the token that stands before it.
  const auto first_digit = std::ranges::find_if(text, is_digit);
  if (first_digit == text.end()) return std::nullopt;
  const std::string_view before(text.begin(), first_digit);
  PriceMatch match;
  match.prefix = trailing_token(text::strip(before));
  match.number = leading_number(text.substr(before.size()));
  match.suffix = leading_token(text::strip(text.substr(before.size() + match.number.size())));
  return match;
}

}  // namespace price_normalizer_internal

constinit const std::string_view PriceNormalizer::PRICE_PATTERN{PATTERN.data(), PATTERN.size()};

std::optional<NormalizedPrice> PriceNormalizer::parse(std::optional<std::string_view> raw_price,
                                                      std::optional<std::string_view> currency_hint) {
  if (!raw_price) return std::nullopt;
  const std::string_view text = text::strip(*raw_price);
  const std::optional<PriceMatch> match = price_normalizer_internal::find_price(text);
  if (!match) return std::nullopt;
  const std::optional<double> amount = text::parse_decimal(without_grouping(match->number));
  if (!amount) return std::nullopt;
  NormalizedPrice price;
  price.raw = text;
  price.amount = text::round_to_two_decimals(*amount);
  price.currency = currency_code(currency_token(*match, currency_hint));
  return price;
}

}  // namespace quillmere::commerce
