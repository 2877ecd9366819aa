#include "cli/fields.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "cli/errors.hpp"

#include "quillmere/text/unicode.hpp"

namespace quillmere::cli {

using text::JsonKind;
using text::JsonValue;

std::size_t LineCounter::line_of(std::size_t offset) {
  const auto* begin = _text.data();
  if (offset < _seen) _seen = 0, _line = 1;
  _line += static_cast<std::size_t>(std::count(begin + _seen, begin + offset, '\n'));
  _seen = offset;
  return _line;
}

std::string not_json(std::string_view text, const text::JsonError& error) {
  constexpr std::size_t LONG_LINE = 200;
  const std::size_t start = text.substr(0, error.offset).rfind('\n') + 1;  // 0 when there is none
  const std::size_t end = std::min(text.find('\n', start), text.size());
  std::string reason = "not JSON: " + std::string(error.message);
  if (end - start > LONG_LINE) reason += ", at byte " + std::to_string(error.offset - start + 1) + " of the line";
  return reason;
}

std::string_view kind_text(JsonKind kind) {
  switch (kind) {
    case JsonKind::object:
      return "an object";
    case JsonKind::array:
      return "an array";
    case JsonKind::string:
      return "text";
    case JsonKind::number:
      return "a number";
    case JsonKind::boolean:
      return "a boolean";
    case JsonKind::null:
      return "null";
  }
  return "";
}

Fields::Fields(JsonValue value, std::string_view what, std::string prefix)
    : _object(value), _prefix(std::move(prefix)) {
  if (value.is_object()) return;
  throw FieldError("expected " + std::string(what) + ", got " + std::string(kind_text(value.kind())), value.offset());
}

std::optional<JsonValue> Fields::find(std::string_view name) const {
  const std::optional<JsonValue> value = _object.find(name);
  if (!value || value->kind() == JsonKind::null) return std::nullopt;
  return value;
}

void Fields::refuse(std::string_view name, std::string_view expected, JsonValue value) const {
  const std::string got = value.is_number() && expected.find("number") != std::string_view::npos
                              ? std::string(value.raw())
                              : std::string(kind_text(value.kind()));
  throw FieldError(
      "field " + in_quotes(_prefix + std::string(name)) + ": expected " + std::string(expected) + ", got " + got,
      value.offset());
}

void Fields::refuse_missing(std::string_view name, std::string_view expected) const {
  const std::optional<JsonValue> value = _object.find(name);
  throw FieldError("field " + in_quotes(_prefix + std::string(name)) + ": expected " + std::string(expected) +
                       ", got " + (value ? "null" : "nothing"),
                   value ? value->offset() : _object.offset());
}

std::optional<std::string> Fields::optional_text(std::string_view name) const {
  const std::optional<JsonValue> value = find(name);
  if (!value) return std::nullopt;
  if (!value->is_string()) refuse(name, "text", *value);
  return text::to_valid_utf8(value->string());
}

std::string Fields::text(std::string_view name) const {
  std::optional<std::string> value = optional_text(name);
  if (!value) refuse_missing(name, "text");
  return *std::move(value);
}

std::optional<bool> Fields::optional_boolean(std::string_view name) const {
  const std::optional<JsonValue> value = find(name);
  if (!value) return std::nullopt;
  if (!value->boolean()) refuse(name, "true, false or null", *value);
  return value->boolean();
}

std::optional<std::int64_t> Fields::optional_integer(std::string_view name) const {
  const std::optional<JsonValue> value = find(name);
  if (!value) return std::nullopt;
  const std::string_view digits = value->raw();
  std::int64_t number = 0;
  const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (!value->is_number() || error != std::errc{} || stop != digits.data() + digits.size()) {
    refuse(name, "a whole number", *value);
  }
  return number;
}

std::optional<double> Fields::optional_number(std::string_view name) const {
  const std::optional<JsonValue> value = find(name);
  if (!value) return std::nullopt;
  if (!value->is_number() || !std::isfinite(*value->number())) refuse(name, "a finite number", *value);
  return value->number();
}

std::optional<NormalizedPrice> Fields::optional_price(std::string_view name) const {
  const std::optional<JsonValue> value = find(name);
  if (!value) return std::nullopt;
  if (!value->is_object()) refuse(name, "an object with \"raw\", \"amount\" and \"currency\"", *value);
  const Fields price(*value, "", _prefix + std::string(name) + ".");
  const std::optional<double> amount = price.optional_number("amount");
  if (!amount) price.refuse_missing("amount", "a number");
  return NormalizedPrice{.raw = price.optional_text("raw").value_or(""),
                         .amount = *amount,
                         .currency = price.optional_text("currency").value_or("")};
}

}  // namespace quillmere::cli
