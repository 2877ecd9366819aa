#include "quillmere/commerce/price_normalizer.hpp"

#include <ostream>

#include "tests/support/long_text.hpp"
#include "tests/support/price_pattern.hpp"
#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

namespace quillmere {

void PrintTo(const NormalizedPrice& price, std::ostream* out) {
  *out << '"' << price.raw << "\" " << price.amount << ' ' << price.currency;
}

namespace commerce {
namespace {

using price_normalizer_internal::find_price;

struct PriceCase {
  const char* name;
  const char* text;
  const char* hint;  // null for none
  std::optional<double> amount;
  const char* currency = "";
};

class PriceParse : public testing::TestWithParam<PriceCase> {};

TEST_P(PriceParse, ReadsTheFirstPrice) {
  const PriceCase& row = GetParam();
  std::optional<NormalizedPrice> expected;
  if (row.amount) expected = {row.text, *row.amount, row.currency};
  const auto hint = row.hint != nullptr ? std::optional<std::string_view>(row.hint) : std::nullopt;
  EXPECT_EQ(PriceNormalizer::parse(row.text, hint), expected) << row.text;
  EXPECT_EQ(find_price(row.text), PricePattern().search(row.text)) << row.text;
}

constexpr auto ABSENT = std::nullopt;

INSTANTIATE_TEST_SUITE_P(Rows, PriceParse,
                         testing::ValuesIn<PriceCase>({
                             // Separators.
                             {"comma_groups_point_decimal", "$1,299.99", nullptr, 1299.99, "USD"},
                             {"point_groups_comma_decimal", "1.299,99 €", nullptr, 1299.99, "EUR"},
                             {"points_group_comma_decimal", "1.234.567,89", nullptr, 1234567.89, "USD"},
                             {"commas_group_point_decimal", "1,234,567.89 CAD", nullptr, 1234567.89, "CAD"},
                             {"comma_after_two_points_twice", "1.234,567,8", nullptr, ABSENT},
                             {"comma_then_two_points", "1,234.567.8", nullptr, ABSENT},
                             {"comma_then_point_then_comma", "1,234.567,8", nullptr, 1234.57, "USD"},
                             {"comma_before_two_digits", "12,50", "EUR", 12.5, "EUR"},
                             {"comma_before_three_digits_groups", "1,234", nullptr, 1234, "USD"},
                             {"comma_before_one_digit_groups", "1,5", nullptr, 15, "USD"},
                             {"comma_before_four_digits_groups", "1,2345", nullptr, 12345, "USD"},
                             {"two_commas_group_even_before_two_digits", "1,23,45", nullptr, 12345, "USD"},
                             {"point_alone_is_decimal", "1.234", nullptr, 1.23, "USD"},
                             {"two_points", "1.234.567", nullptr, ABSENT},
                             {"space_groups", "12 999", nullptr, 12999, "USD"},
                             {"space_groups_comma_decimal", "12 999,50 €", nullptr, 12999.5, "EUR"},
                             {"space_before_comma_digits", "1,2 3", nullptr, 1.23, "USD"},
                             {"no_break_space_is_no_number", "1\u00A0299,99", nullptr, ABSENT},
                             {"narrow_no_break_space_either", "1\u202F299,99 €", nullptr, ABSENT},
                             {"tab_either", "1\t299", nullptr, ABSENT},
                             {"two_spaces_end_the_number", "12  999", nullptr, 12, "USD"},
                             {"point_and_space_end_it", "12. 999", nullptr, 12, "USD"},
                             {"apostrophe_ends_it", "1'299", nullptr, 1, "USD"},
                             {"separator_at_the_end", "19,-", nullptr, 19, "USD"},
                             {"separator_before_the_number", "-.50", nullptr, 50, "USD"},
                             {"other_digits_are_none", "١٢ 7", nullptr, 7, "USD"},
                             {"zero", "0,00", nullptr, 0, "USD"},
                             {"tie_to_even_down", "0.125", nullptr, 0.12, "USD"},
                             {"tie_to_even_up", "0.375", nullptr, 0.38, "USD"},
                             {"stored_below_the_tie", "2.675", nullptr, 2.67, "USD"},
                             {"first_price_only", "$12.99 - $15.99", nullptr, 12.99, "USD"},
                             // Currencies.
                             {"token_beats_hint", "£ 20", "EUR", 20, "GBP"},
                             {"hint_symbol", "20", "£", 20, "GBP"},
                             {"hint_with_space", "20", " usd\u00A0", 20, "USD"},
                             {"hint_without_a_code", "20", "chf", 20, "CHF"},
                             {"hint_of_any_length", "20", "zł / ß", 20, "ZŁ / SS"},
                             {"empty_hint", "20", "", 20, "USD"},
                             {"blank_hint_is_an_empty_code", "20", "  ", 20, ""},
                             {"lower_case_token", "usd 5", nullptr, 5, "USD"},
                             {"token_of_mixed_case_behind", "5 eUr", nullptr, 5, "EUR"},
                             {"prefix_beats_suffix", "$5 CAD", nullptr, 5, "USD"},
                             {"longest_prefix_us", "US$5", nullptr, 5, "USD"},
                             {"longest_prefix_ca", "ca$ 5", nullptr, 5, "CAD"},
                             {"longest_prefix_a", "a$5", nullptr, 5, "AUD"},
                             {"longest_prefix_cn", "CN¥5", nullptr, 5, "CNY"},
                             {"longest_suffix", "5 CN¥", nullptr, 5, "CNY"},
                             {"yen", "¥5", nullptr, 5, "JPY"},
                             {"rupee", "₹ 5", nullptr, 5, "INR"},
                             {"other_code", "5 sek", nullptr, 5, "SEK"},
                             {"unicode_space_on_both_sides", "€\u2009\u00A05\u3000GBP", nullptr, 5, "EUR"},
                             {"unicode_space_behind", "5\u202F\t€", nullptr, 5, "EUR"},
                             {"token_inside_a_word", "xUSD5", nullptr, 5, "USD"},
                             {"suffix_inside_a_word", "5 euros", nullptr, 5, "EUR"},
                             {"unknown_word", "5 Kč", nullptr, 5, "USD"},
                             {"word_between_token_and_number", "$ from 5", nullptr, 5, "USD"},
                             {"word_between_number_and_token", "£ from 5 each €", nullptr, 5, "USD"},
                             {"token_before_another", "£ $5", nullptr, 5, "USD"},
                             {"token_of_the_next_price", "5 $10", nullptr, 5, "USD"},
                             {"zero_width_space_is_none", "€\u200B5", nullptr, 5, "USD"},
                             // No price.
                             {"no_digit", "Free shipping", nullptr, ABSENT},
                             {"blank", "   ", "USD", ABSENT},
                             {"blank_unicode", "\u00A0\u3000", "USD", ABSENT},
                             {"empty", "", nullptr, ABSENT},
                             {"token_alone", "$", nullptr, ABSENT},
                         }),
                         row_name);

TEST(PriceParse, AbsentTextHasNoPrice) {
  EXPECT_EQ(PriceNormalizer::parse(std::nullopt, "USD"), std::nullopt);
}

TEST(PriceParse, KeepsTheWholeTextWithoutSpaceAroundIt) {
  EXPECT_EQ(PriceNormalizer::parse("  $5  "), (NormalizedPrice{"$5", 5, "USD"}));
  EXPECT_EQ(PriceNormalizer::parse("\u3000now only 5 EUR each\u0085"),
            (NormalizedPrice{"now only 5 EUR each", 5, "EUR"}));
}

TEST(PriceParse, MapsEveryToken) {
  for (const auto& [token, code] : CURRENCY_MAP) {
    EXPECT_EQ(PriceNormalizer::parse(std::string(token) + "7").value().currency, code) << token;
    EXPECT_EQ(PriceNormalizer::parse("7 " + std::string(token), "XXX").value().currency, code) << token;
    EXPECT_EQ(PriceNormalizer::parse("7", token).value().currency, code) << token;
  }
}

TEST(PriceParse, HasNoUpperBoundButThatOfADouble) {
  const std::string digits(308, '9');
  EXPECT_EQ(PriceNormalizer::parse(digits), (NormalizedPrice{digits, 1e308, "USD"}));
  EXPECT_EQ(PriceNormalizer::parse(digits + "9"), std::nullopt);
  EXPECT_EQ(PriceNormalizer::parse("0." + digits + digits).value().amount, 1);
}

TEST(PriceParse, ReadsALongTextInGoodTime) {
  for (const std::string unit : {"9", "9 ", "9,", "9.", "$", "US$ ", "\u00A0", "9\u3000", "  9", "a"}) {
    const std::string text = "$" + long_text(unit) + ".";
    const auto price = PriceNormalizer::parse(text);
    EXPECT_TRUE(!price || price->raw == text) << unit;
  }
}

}  // namespace
}  // namespace commerce
}  // namespace quillmere
