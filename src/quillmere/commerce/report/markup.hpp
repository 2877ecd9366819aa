#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// Text, numbers and links as they can stand in a page.
namespace quillmere::commerce::report {

/// Foreign text for element content and for attribute values in double quotes: markup escaped, control characters and
/// noncharacters made U+FFFD, bytes that are not UTF-8 too, and what goes beyond `limit` characters made "…".
[[nodiscard]] std::string escaped(std::string_view text, std::size_t limit = 300);

/// The same in an element that keeps its direction of writing to itself.
[[nodiscard]] std::string isolated(std::string_view text, std::size_t limit = 300);

/// A currency as headings and prices show it.
[[nodiscard]] std::string currency_name(std::string_view currency);

/// `url` as an attribute value that leads to a web page: absolute, http or https, without
/// credentials, whole. Absent for any other.
[[nodiscard]] std::optional<std::string> web_link(std::string_view url);

/// "1,299.50"; a figure beyond all prices in scientific notation.
[[nodiscard]] std::string money(double amount);

/// A place in the page: percent with at most two decimals.
[[nodiscard]] std::string percent(double fraction);

/// The text of an enumeration's member for people: "out_of_stock" gives "Out of stock".
[[nodiscard]] std::string label(std::string_view value);

/// "1,200", and "1 match", "1,200 matches".
[[nodiscard]] std::string counted(std::size_t count);
[[nodiscard]] std::string counted(std::size_t count, std::string_view one, std::string_view many);

}  // namespace quillmere::commerce::report
