#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "quillmere/models.hpp"
#include "quillmere/text/json.hpp"

/// Typed fields of JSON objects that people wrote, with errors that say what was expected and what was there.
namespace quillmere::cli {

/// What was read is JSON, but not what was asked for.
class FieldError : public std::runtime_error {
 public:
  FieldError(const std::string& text, std::size_t offset) : std::runtime_error(text), _offset(offset) {}
  /// Where in the document, in bytes.
  [[nodiscard]] std::size_t offset() const noexcept { return _offset; }

 private:
  std::size_t _offset;
};

/// Turns offsets that only grow into line numbers, in one pass over the text.
class LineCounter {
 public:
  explicit LineCounter(std::string_view text) : _text(text) {}

  /// From 1.
  [[nodiscard]] std::size_t line_of(std::size_t offset);

 private:
  std::string_view _text;
  std::size_t _seen = 0;
  std::size_t _line = 1;
};

/// Why `text` is no JSON, for a message that names the line; in a long line also where in it.
[[nodiscard]] std::string not_json(std::string_view text, const text::JsonError& error);

/// "an object", "text", "a number": a kind as messages call it.
[[nodiscard]] std::string_view kind_text(text::JsonKind kind);

/// The fields of one object. Everywhere null is the same as absent, an unknown field is nobody's business, a repeated
/// one counts with its last value, and bytes that are not UTF-8 read as U+FFFD.
class Fields {
 public:
  /// Throws FieldError when `value` is no object; `what` is what the message says it should be ("a match object").
  /// `prefix` stands before the names in messages: "price." for what an object under "price" holds.
  Fields(text::JsonValue value, std::string_view what, std::string prefix = {});

  [[nodiscard]] std::string text(std::string_view name) const;  ///< throws FieldError when absent
  [[nodiscard]] std::optional<std::string> optional_text(std::string_view name) const;
  [[nodiscard]] std::optional<bool> optional_boolean(std::string_view name) const;
  [[nodiscard]] std::optional<double> optional_number(std::string_view name) const;  ///< a finite one
  /// A whole number as written, without "." or exponent.
  [[nodiscard]] std::optional<std::int64_t> optional_integer(std::string_view name) const;
  /// An object of "raw", "amount" and "currency", of which "amount" is required.
  [[nodiscard]] std::optional<NormalizedPrice> optional_price(std::string_view name) const;
  /// The value itself, null as absent.
  [[nodiscard]] std::optional<text::JsonValue> find(std::string_view name) const;

  /// Throws the FieldError of a field whose value is not what `expected` says.
  [[noreturn]] void refuse(std::string_view name, std::string_view expected, text::JsonValue value) const;
  [[noreturn]] void refuse_missing(std::string_view name, std::string_view expected) const;

 private:
  text::JsonValue _object;
  std::string _prefix;
};

}  // namespace quillmere::cli
