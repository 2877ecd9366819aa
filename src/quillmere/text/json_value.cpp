#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <system_error>

#include "quillmere/text/json.hpp"
#include "quillmere/text/number.hpp"
#include "quillmere/text/unicode.hpp"

namespace quillmere::text {
namespace {

constexpr char32_t REPLACEMENT_CHARACTER = 0xFFFD;

bool is_high_surrogate(char32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool is_low_surrogate(char32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

/// The four digits that the reader has checked.
char32_t hexadecimal_unit(std::string_view digits) {
  char32_t unit = 0;
  for (const char digit : digits) {
    const auto code = static_cast<unsigned char>(digit);
    unit = 16 * unit + (code & 15U) + (code >= 'A' ? 9U : 0U);
  }
  return unit;
}

char32_t named_escape(char name) {
  switch (name) {
    case 'b':
      return '\b';
    case 'f':
      return '\f';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    default:
      return static_cast<unsigned char>(name);
  }
}

/// Takes the escape, or the pair of escapes, that `rest` begins with.
char32_t take_escape(std::string_view& rest) {
  if (rest[1] != 'u') {
    const char32_t decoded = named_escape(rest[1]);
    rest.remove_prefix(2);
    return decoded;
  }
  const char32_t unit = hexadecimal_unit(rest.substr(2, 4));
  rest.remove_prefix(6);
  if (is_low_surrogate(unit)) return REPLACEMENT_CHARACTER;
  if (!is_high_surrogate(unit)) return unit;
  if (!rest.starts_with("\\u")) return REPLACEMENT_CHARACTER;
  const char32_t low = hexadecimal_unit(rest.substr(2, 4));
  if (!is_low_surrogate(low)) return REPLACEMENT_CHARACTER;
  rest.remove_prefix(6);
  return 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
}

// Numbers may be as long as the page: these look at each character once, and quickly.

bool is_integer(std::string_view number) {
  return std::none_of(number.begin(), number.end(), [](char c) { return c == '.' || c == 'e' || c == 'E'; });
}

bool is_digit_above_0(char c) {
  return c >= '1' && c <= '9';
}

/// Whether a number that no double holds is too large for one, rather than too small: by the power of ten of its
/// first digit that is not 0.
bool is_too_large(std::string_view number) {
  const std::size_t exponent_mark = std::min(number.find_first_of("eE"), number.size());
  const std::string_view mantissa = number.substr(0, exponent_mark);
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  const auto first = std::find_if(mantissa.begin(), mantissa.end(), is_digit_above_0) - mantissa.begin();
  std::string_view exponent = number.substr(std::min(exponent_mark + 1, number.size()));
  const bool negative_exponent = exponent.starts_with('-');
  if (negative_exponent || exponent.starts_with('+')) exponent.remove_prefix(1);
  std::int64_t power = 0;
  const auto read = std::from_chars(exponent.data(), exponent.data() + exponent.size(), power);
  if (read.ec == std::errc::result_out_of_range) return !negative_exponent;
  return static_cast<std::int64_t>(point) - first + (negative_exponent ? -power : power) > 0;
}

double nearest_double(std::string_view number) {
  double value = 0;
  const auto read = std::from_chars(number.data(), number.data() + number.size(), value);
  if (read.ec != std::errc::result_out_of_range) return value;
  const double magnitude = is_too_large(number) ? std::numeric_limits<double>::infinity() : 0.0;
  return number.starts_with('-') ? -magnitude : magnitude;
}

}  // namespace

void JsonString::append_to(std::string& out) const {
  std::string_view rest = _raw;
  for (;;) {
    const std::size_t plain = _has_escapes ? std::min(rest.find('\\'), rest.size()) : rest.size();
    out += rest.substr(0, plain);
    rest.remove_prefix(plain);
    if (rest.empty()) return;
    append_utf8(out, take_escape(rest));
  }
}

std::string JsonString::decoded() const {
  std::string out;
  out.reserve(_raw.size());
  append_to(out);
  return out;
}

bool JsonString::_decodes_to(std::string_view text) const noexcept {
  std::string_view rest = _raw;
  for (;;) {
    const std::size_t plain = std::min(rest.find('\\'), rest.size());
    if (!text.starts_with(rest.substr(0, plain))) return false;
    rest.remove_prefix(plain);
    text.remove_prefix(plain);
    if (rest.empty()) return text.empty();
    std::string character;  // four bytes at most: stays within the object
    append_utf8(character, take_escape(rest));
    if (!text.starts_with(character)) return false;
    text.remove_prefix(character.size());
  }
}

std::optional<bool> JsonValue::boolean() const noexcept {
  if (kind() != JsonKind::boolean) return std::nullopt;
  return raw().front() == 't';
}

std::optional<double> JsonValue::number() const noexcept {
  if (!is_number()) return std::nullopt;
  return nearest_double(raw());
}

bool JsonValue::is_truthy() const noexcept {
  switch (kind()) {
    case JsonKind::object:
    case JsonKind::array:
      return !is_empty();
    case JsonKind::string:
      return raw() != "\"\"";
    case JsonKind::number:
      if (is_integer(raw())) return std::any_of(raw().begin(), raw().end(), is_digit_above_0);
      return nearest_double(raw()) != 0;
    case JsonKind::boolean:
      return boolean() == true;
    case JsonKind::null:
      break;
  }
  return false;
}

std::optional<std::string> JsonValue::text_form() const {
  if (is_string()) return string();
  if (!is_number()) return std::nullopt;
  if (!is_integer(raw())) {
    const double value = nearest_double(raw());
    if (std::isfinite(value)) return shortest_decimal(value);
  }
  return std::string(raw());
}

std::optional<JsonValue> JsonValue::find(std::string_view key) const noexcept {
  if (!is_object()) return std::nullopt;
  json_internal::Entry* found = nullptr;
  json_internal::Entry* const end = _entry + _entry->span;
  for (json_internal::Entry* member = _entry + 1; member != end; member += member->span) {
    if (_document->_key(*member) == key) found = member;
  }
  if (found == nullptr) return std::nullopt;
  return JsonValue(found, _document);
}

std::optional<JsonValue> JsonValue::first() const noexcept {
  if (!is_array() || is_empty()) return std::nullopt;
  return JsonValue(_entry + 1, _document);
}

}  // namespace quillmere::text
