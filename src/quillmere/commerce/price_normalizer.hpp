#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "quillmere/api.hpp"
#include "quillmere/models.hpp"

/// From printed prices to amounts and currency codes.
namespace quillmere::commerce {

/// One printed currency token, in capitals, and the code that it stands for.
struct CurrencyToken {
  std::string_view token;  ///< as printed: "US$"
  std::string_view code;   ///< as written: "USD"
};

/// The tokens that have a code of their own. Any other token is its own code.
inline constexpr std::array<CurrencyToken, 17> CURRENCY_MAP = {{
    {"$", "USD"},
    {"US$", "USD"},
    {"USD", "USD"},
    {"€", "EUR"},
    {"EUR", "EUR"},
    {"£", "GBP"},
    {"GBP", "GBP"},
    {"¥", "JPY"},
    {"JPY", "JPY"},
    {"CN¥", "CNY"},
    {"CNY", "CNY"},
    {"CA$", "CAD"},
    {"CAD", "CAD"},
    {"A$", "AUD"},
    {"AUD", "AUD"},
    {"₹", "INR"},
    {"INR", "INR"},
}};

/// Reads printed prices ("$1,299.99", "1.299,99 €", "12,50", "1 299").
///
/// Units    amounts are major units of the currency (12.5 is 12.50), rounded to two decimals, exact ties to even.
/// Text     UTF-8; whitespace is Unicode whitespace, digits are ASCII digits.
/// Threads  pure: call from any thread.
class QUILLMERE_API PriceNormalizer {
 public:
  /// What a printed price looks like, as a Perl-compatible regular expression without regard to case: an optional
  /// currency token, a number of digits with single separators between them, an optional currency token. `parse`
  /// reads what a leftmost-first search for it finds, though in time linear in the text.
  static const std::string_view PRICE_PATTERN;

  /// Reads the first price in `raw_price` ("1.299,99 €" gives 1299.99 EUR, "$12.99 - $15.99" 12.99 USD).
  ///
  /// Number    when both "," and "." occur, the later kind is the decimal point; a comma alone is one only before
  ///           exactly two final digits ("12,50", but "1,234" and "1,5" are 1234 and 15); a point alone is one always
  ///           ("1.234" gives 1.23). Plain spaces between digits go ("12 999").
  /// Currency  the token before the number, else the token behind it, else `currency_hint` unless it is empty, else
  ///           "USD"; upper-cased, without whitespace around it, and through CURRENCY_MAP ("€" gives "EUR", "chf"
  ///           "CHF"). A hint of nothing but whitespace gives the empty code.
  /// `raw` of the result is the whole text without whitespace around it.
  ///
  /// Absent when the text is absent or holds no digit, when what it holds is no number ("1.234.567", digits separated
  /// by a no-break space), and when the amount is too large for a double. Throws nothing but std::bad_alloc.
  [[nodiscard]] static std::optional<NormalizedPrice> parse(
      std::optional<std::string_view> raw_price, std::optional<std::string_view> currency_hint = std::nullopt);
};

}  // namespace quillmere::commerce
