#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Reading JSON that others wrote: shop pages, crawled files, the tool's input.
///
/// The reader validates the whole document in one linear pass without recursion and keeps slices of it; text and
/// numbers are decoded only when they are asked for. It is RFC 8259 with one allowance, which shop pages need: a raw
/// control character inside a string is taken as it is. No byte-order mark, no trailing comma, no NaN or Infinity.
///
/// Depth    nesting to 1,024 levels; a deeper document does not decode.
/// Numbers  kept as written, however long.
/// Keys     when one is repeated in an object, its last value wins and stands at the first one's place.
/// Lone surrogate escapes decode to U+FFFD.
namespace quillmere::text {

enum class JsonKind : std::uint8_t { object, array, string, number, boolean, null };

class JsonDocument;

/// One value of a JsonDocument: a small handle that is valid until the document reads again or ends, and as long as
/// the text that the document was read from.
class JsonValue {
 public:
  [[nodiscard]] JsonKind kind() const noexcept;
  [[nodiscard]] bool is_object() const noexcept { return kind() == JsonKind::object; }
  [[nodiscard]] bool is_array() const noexcept { return kind() == JsonKind::array; }
  [[nodiscard]] bool is_string() const noexcept { return kind() == JsonKind::string; }
  [[nodiscard]] bool is_number() const noexcept { return kind() == JsonKind::number; }

  /// The value exactly as written in the document, and where it begins there, in bytes.
  [[nodiscard]] std::string_view raw() const noexcept;
  [[nodiscard]] std::size_t offset() const noexcept;

  /// The decoded text of a string; empty for any other kind.
  [[nodiscard]] std::string string() const;
  /// Whether this is a string whose decoded text is `text`; decodes nothing it need not.
  [[nodiscard]] bool is_string_equal_to(std::string_view text) const noexcept;
  /// true or false; absent for any other kind.
  [[nodiscard]] std::optional<bool> boolean() const noexcept;
  /// The nearest double (infinite when too large); absent for any other kind.
  [[nodiscard]] std::optional<double> number() const noexcept;

  /// Not null, not false, not the number 0, not an empty string, array or object.
  [[nodiscard]] bool is_truthy() const noexcept;
  /// A string is itself; an integer is its digits as written; any other number its shortest decimal (as
  /// `shortest_decimal`; as written when too large for a double). Absent for every other kind.
  [[nodiscard]] std::optional<std::string> text_form() const;

  /// Whether an array or object has no elements; true for every other kind.
  [[nodiscard]] bool is_empty() const noexcept;
  /// The last member named `key`; absent when there is none and when this is not an object. Linear in the members.
  [[nodiscard]] std::optional<JsonValue> find(std::string_view key) const noexcept;
  /// First element of an array; absent when it is empty or this is not an array.
  [[nodiscard]] std::optional<JsonValue> first() const noexcept;

  struct Member;
  /// The distinct members of an object, in order, each with its last value. Linear in their number (expected).
  [[nodiscard]] std::vector<Member> members() const;
  /// The elements of an array, in order.
  [[nodiscard]] std::vector<JsonValue> elements() const;
};

}  // namespace quillmere::text
