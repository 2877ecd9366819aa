#include "quillmere/text/number.hpp"

#include <cmath>
#include <limits>

#include "tests/support/row_name.hpp"
#include <gtest/gtest.h>

namespace quillmere::text {
namespace {

struct WrittenCase {
  const char* name;
  double value;
  const char* shortest;
  const char* fixed;
  double rounded;
};

class Written : public testing::TestWithParam<WrittenCase> {};

TEST_P(Written, HasEachOfItsForms) {
  const WrittenCase& row = GetParam();
  EXPECT_EQ(shortest_decimal(row.value), row.shortest);
  EXPECT_EQ(two_decimals(row.value), row.fixed);
  EXPECT_EQ(round_to_two_decimals(row.value), row.rounded);
}

INSTANTIATE_TEST_SUITE_P(
    Values, Written,
    testing::ValuesIn<WrittenCase>({
        {"zero", 0, "0.0", "0.00", 0},
        {"whole", 20, "20.0", "20.00", 20},
        {"two_decimals", 19.99, "19.99", "19.99", 19.99},
        {"negative", -1299.5, "-1299.5", "-1299.50", -1299.5},
        {"shortest_of_its_neighbours", 0.1 + 0.2, "0.30000000000000004", "0.30", 0.3},
        {"exact_tie_to_even_below", 0.125, "0.125", "0.12", 0.12},
        {"exact_tie_to_even_above", 0.375, "0.375", "0.38", 0.38},
        {"stored_below_the_tie", 2.675, "2.675", "2.67", 2.67},
        {"stored_above_the_tie", 1.005000000000001, "1.005000000000001", "1.01", 1.01},
        {"last_plain_small", 0.0001, "0.0001", "0.00", 0},
        {"first_scientific_small", 0.00001, "1e-05", "0.00", 0},
        {"last_plain_large", 9999999999999998, "9999999999999998.0", "9999999999999998.00", 9999999999999998},
        {"first_scientific_large", 1e16, "1e+16", "10000000000000000.00", 1e16},
        {"digits_and_exponent", 1.5e-310, "1.5e-310", "0.00", 0},
        {"last_with_a_fraction", 4503599627370495.5, "4503599627370495.5", "4503599627370495.50", 4503599627370495.5},
    }),
    row_name);

TEST(Written, HoldsTheLargestDouble) {
  constexpr double LARGEST = std::numeric_limits<double>::max();
  EXPECT_EQ(shortest_decimal(LARGEST), "1.7976931348623157e+308");
  EXPECT_EQ(two_decimals(-LARGEST).size(), 313U);
  EXPECT_EQ(round_to_two_decimals(LARGEST), LARGEST);
}

struct ReadCase {
  const char* name;
  std::string text;
  std::optional<double> expected;
};

class ParseDecimal : public testing::TestWithParam<ReadCase> {};

TEST_P(ParseDecimal, ReadsDigitsWithAtMostOnePoint) {
  EXPECT_EQ(parse_decimal(GetParam().text), GetParam().expected) << GetParam().text.substr(0, 80);
}

INSTANTIATE_TEST_SUITE_P(Texts, ParseDecimal,
                         testing::ValuesIn<ReadCase>({
                             {"whole", "1234", 1234},
                             {"fraction", "1234.56", 1234.56},
                             {"leading_zeros", "007.50", 7.5},
                             {"no_digit_before_the_point", ".5", 0.5},
                             {"no_digit_behind_the_point", "5.", 5},
                             {"empty", "", std::nullopt},
                             {"point_alone", ".", std::nullopt},
                             {"two_points", "1.2.3", std::nullopt},
                             {"signs", "-1", std::nullopt},
                             {"plus", "+1", std::nullopt},
                             {"exponent", "1e5", std::nullopt},
                             {"spaces", "1 ", std::nullopt},
                             {"words", "inf", std::nullopt},
                             {"other_digits", "١٢", std::nullopt},
                             {"largest", "1" + std::string(308, '0'), 1e308},
                             {"too_large", "1" + std::string(309, '0'), std::nullopt},
                             {"too_large_with_fraction", std::string(400, '9') + ".5", std::nullopt},
                             {"too_small_is_zero", "0." + std::string(400, '0') + "1", 0},
                             {"digits_beyond_precision", "0." + std::string(100000, '9'), 1},
                             {"zeros_in_front_without_end", std::string(100000, '0') + "1.5", 1.5},
                         }),
                         row_name);

}  // namespace
}  // namespace quillmere::text
