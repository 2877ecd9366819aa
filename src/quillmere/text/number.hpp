#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Numbers as text, in the few forms that the system reads and writes. Independent of the locale.
namespace quillmere::text {

/// The shortest decimal text that reads back as `value`: plain with at least one fractional digit when its decimal
/// exponent is from -4 to 15 ("20.0", "19.99", "0.0001"), else scientific with a sign and at least two exponent
/// digits ("1e-05", "1e+16"). `value` must be finite.
[[nodiscard]] std::string shortest_decimal(double value);

/// `value` in fixed-point notation with exactly two decimals ("1299.50"); exact ties go to the even digit.
[[nodiscard]] std::string two_decimals(double value);

/// The double nearest to the exact binary value of `value` rounded to two decimals, exact ties to the even digit
/// (0.125 gives 0.12, 2.675, which is stored just below the tie, 2.67).
[[nodiscard]] double round_to_two_decimals(double value);

/// Reads ASCII digits with at most one "." (".5" and "5." included). Absent for anything else, for no digit at all,
/// and for a number too large for a double.
[[nodiscard]] std::optional<double> parse_decimal(std::string_view text) noexcept;

}  // namespace quillmere::text
