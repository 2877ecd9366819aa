#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <system_error>

#include "quillmere/text/json.hpp"
#include "quillmere/text/json_scan_internal.hpp"
#include "quillmere/text/number.hpp"

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
char32_t hexadecimal_unit(const char* digits) {
  char32_t unit = 0;
  for (int i = 0; i < 4; ++i) {
    const auto digit = static_cast<unsigned char>(digits[i]);
    unit = unit << 4U | ((digit & 0xFU) + (digit > '9' ? 9U : 0U));
  }
  return unit;
}

char named_escape(char name) {
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
      return name;
  }
}

/// Takes the "\uXXXX", or the pair of them, that stands at `p`.
char32_t take_unicode_escape(const char*& p, const char* end) {
  const char32_t unit = hexadecimal_unit(p + 2);
  p += 6;
  if (is_low_surrogate(unit)) return REPLACEMENT_CHARACTER;
  if (!is_high_surrogate(unit)) return unit;
  if (end - p < 6 || p[0] != '\\' || p[1] != 'u') return REPLACEMENT_CHARACTER;
  const char32_t low = hexadecimal_unit(p + 2);
  if (!is_low_surrogate(low)) return REPLACEMENT_CHARACTER;
  p += 6;
  return 0x10000 + ((unit - 0xD800) << 10U) + (low - 0xDC00);
}

char* put_utf8(char* to, char32_t code_point) {
  const auto put = [&to](char32_t byte) { *to++ = static_cast<char>(byte); };
  const auto put_rest = [&](unsigned shift) { put(0x80U | (code_point >> shift & 0x3FU)); };
  if (code_point < 0x80) {
    put(code_point);
  } else if (code_point < 0x800) {
    put(0xC0U | code_point >> 6U);
    put_rest(0);
  } else if (code_point < 0x10000) {
    put(0xE0U | code_point >> 12U);
    put_rest(6);
    put_rest(0);
  } else {
    put(0xF0U | code_point >> 18U);
    put_rest(12);
    put_rest(6);
    put_rest(0);
  }
  return to;
}

/// Writes what the escape at `p` stands for, four bytes at most, and moves `p` behind it. Gives the end of what it
/// wrote.
char* put_escape(const char*& p, const char* end, char* to) {
  if (p[1] == 'u') return put_utf8(to, take_unicode_escape(p, end));
  *to = named_escape(p[1]);
  p += 2;
  return to + 1;
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
  if (!_has_escapes) {
    out += _raw;
    return;
  }
  // What is decoded is never longer than what was written, so room for that is room enough.
  const std::size_t before = out.size();
  out.resize(before + _raw.size());
  char* to = out.data() + before;
  const char* const end = _raw.data() + _raw.size();
  const char* p = json_internal::FastestScan::copy_until_escape(_raw.data(), end, to);
  while (p != end) {
    to = put_escape(p, end, to);
    p = json_internal::FastestScan::copy_until_escape(p, end, to);
  }
  out.resize(static_cast<std::size_t>(to - out.data()));
}

std::string JsonString::decoded() const {
  std::string out;
  out.reserve(_raw.size());
  append_to(out);
  return out;
}

bool JsonString::_decodes_to(std::string_view text) const noexcept {
  const char* p = _raw.data();
  const char* const end = p + _raw.size();
  for (;;) {
    const void* escape = std::memchr(p, '\\', static_cast<std::size_t>(end - p));
    const char* const stop = escape == nullptr ? end : static_cast<const char*>(escape);
    const std::string_view plain(p, static_cast<std::size_t>(stop - p));
    if (!text.starts_with(plain)) return false;
    text.remove_prefix(plain.size());
    if (stop == end) return text.empty();
    p = stop;
    std::array<char, 4> character{};
    const char* const behind = put_escape(p, end, character.data());
    const std::string_view decoded(character.data(), static_cast<std::size_t>(behind - character.data()));
    if (!text.starts_with(decoded)) return false;
    text.remove_prefix(decoded.size());
  }
}

std::size_t JsonDocument::_long_key_size(const json_internal::Entry& entry) const noexcept {
  const char* const key = _text.data() + entry.key_begin;
  const char* const end = _text.data() + _text.size();
  for (const char* p = key;; p += 2) {  // an escape is two characters, or ends with some that are no quotation mark
    p = json_internal::FastestScan::find_quote_or_escape(p, end);
    if (*p == '"') return static_cast<std::size_t>(p - key);
  }
}

std::uint32_t JsonDocument::_end_of_container(const json_internal::Entry& container) const noexcept {
  // What comes last in it, at any depth, ends before the brackets that close.
  const json_internal::Entry* last = &container;
  unsigned closing = 0;
  for (; last->is_container(); ++closing) {
    const json_internal::Entry* const end = last + last->extent;
    if (last + 1 == end) break;
    for (++last; last + last->span() != end;) last += last->span();
  }
  const char* p = _text.data() + (last->is_container() ? last->begin : last->extent);
  if (last->is_container()) ++p, ++closing;
  const char* const end = _text.data() + _text.size();
  for (; closing != 0; --closing) p = json_internal::FastestScan::skip_whitespace_run(p, end) + 1;
  return static_cast<std::uint32_t>(p - _text.data());
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
  json_internal::Entry* const end = _entry + _entry->extent;
  for (json_internal::Entry* member = _entry + 1; member != end; member += member->span()) {
    if (_document->_key(*member) == key) found = member;
  }
  if (found == nullptr) return std::nullopt;
  return JsonValue(found, _document);
}

void JsonValue::_find_each(std::span<const std::string_view> keys,
                           std::span<std::optional<JsonValue>> found) const noexcept {
  if (!is_object()) return;
  std::uint64_t sizes = 0;  // one bit for each: most members' keys have none of them
  for (const std::string_view key : keys) sizes |= std::uint64_t{1} << key.size();
  json_internal::Entry* const end = _entry + _entry->extent;
  for (json_internal::Entry* member = _entry + 1; member != end; member += member->span()) {
    json_internal::prefetch_behind(member);
    const JsonString name = _document->_key(*member);
    if (!name.has_escapes() && (name.raw().size() > 63 || (sizes >> name.raw().size() & 1U) == 0)) continue;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      if (name == keys[i]) found[i] = JsonValue(member, _document);
    }
  }
}

std::optional<JsonValue> JsonValue::first() const noexcept {
  if (!is_array() || is_empty()) return std::nullopt;
  return JsonValue(_entry + 1, _document);
}

}  // namespace quillmere::text
