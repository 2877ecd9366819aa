#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

/// Reading JSON that others wrote: shop pages, crawled files, the tool's input.
///
/// The reader validates the whole document in one linear pass without recursion and keeps slices of it; text and
/// numbers are decoded only when they are asked for. It is RFC 8259 with one allowance, which shop pages need: a raw
/// control character inside a string is taken as it is. No byte-order mark, no trailing comma, no NaN or Infinity.
///
/// Text     valid UTF-8, shorter than 4 GiB; not copied, so it must outlive the values read from it.
/// Depth    nesting to 1,024 levels; a deeper document is refused.
/// Numbers  kept as written, however long.
/// Keys     compared by their decoded text. When one is repeated in an object, its last value wins and stands at the
///          first one's place.
/// Escapes  one that is not JSON refuses the document; a lone surrogate decodes to U+FFFD.
/// Threads  a document and its values belong to one thread at a time, even for reading: an object notes at its first
///          iteration which of its keys are repeated.
///
///     JsonDocument document;
///     if (const auto root = document.read(R"({"offers": [{"price": 20.0}, {"price": 25}]})")) {
///       for (const JsonValue offer : root->find("offers")->elements()) {
///         if (const auto price = offer.find("price")) print(*price->text_form());  // 20.0 and 25
///       }
///     }
namespace quillmere::text {

/// What a value is.
enum class JsonKind : std::uint8_t { object, array, string, number, boolean, null };

class JsonDocument;
class JsonValue;
struct JsonMember;
template <class Item>
class JsonRange;
/// The values of an array, and the members of an object.
using JsonElements = JsonRange<JsonValue>;
using JsonMembers = JsonRange<JsonMember>;

namespace json_internal {

inline constexpr std::uint8_t VALUE_HAS_ESCAPES = 1;  ///< a string that holds a backslash
inline constexpr std::uint8_t KEY_HAS_ESCAPES = 2;
inline constexpr std::uint8_t KEYS_SETTLED = 4;  ///< an object whose repeated keys are marked by the two flags below
inline constexpr std::uint8_t KEY_REPEATED = 8;  ///< stands behind another member of the same key
inline constexpr std::uint8_t SUPERSEDED = 16;   ///< first of its key; `begin` is the distance to the last one's entry

/// The size of a key that is not noted: found in the text.
inline constexpr std::uint16_t LONG_KEY = 0xFFFF;

/// One value, behind its container on the tape; offsets are bytes of the text. Small, because the time that dense text
/// takes is that of writing and reading the tape.
struct Entry {
  std::uint32_t key_begin;  ///< of a member: what stands behind the opening quote of its key
  std::uint32_t begin;
  std::uint32_t extent;  ///< of a scalar: its end; of a container: `span` (while it is open: the place of its parent)
  std::uint16_t key_size;
  JsonKind kind;
  std::uint8_t flags;

  [[nodiscard]] bool is_container() const noexcept { return kind <= JsonKind::array; }
  /// Entries from this one to its next sibling.
  [[nodiscard]] std::uint32_t span() const noexcept { return is_container() ? extent : 1; }
};
static_assert(sizeof(Entry) == 16);

/// Asks the processor for what stands a few cache lines behind `entry`, if anything does: left to itself it walks a
/// tape that is in no cache one miss at a time.
inline void prefetch_behind(const Entry* entry) noexcept {
  __builtin_prefetch(entry + 192);
}

struct Free {
  void operator()(Entry* entries) const noexcept { std::free(entries); }
};

struct Tape {
  std::unique_ptr<Entry[], Free> entries;  ///< by malloc, which can grow a large block without a copy
  std::size_t capacity = 0;
};

enum class Scanning : std::uint8_t { fastest, portable };
/// What `JsonDocument::read` does, with the choice of scanning code that tests compare.
bool read(JsonDocument& document, std::string_view text, Scanning scanning);

}  // namespace json_internal

/// The text of a string or key: a slice of the document, decoded when asked.
class JsonString {
 public:
  /// `raw` is what stands between the quotes.
  JsonString() = default;
  JsonString(std::string_view raw, bool has_escapes) noexcept : _raw(raw), _has_escapes(has_escapes) {}

  /// What stands between the quotes, escapes as written.
  [[nodiscard]] std::string_view raw() const noexcept { return _raw; }
  /// Whether there are escapes; without them `raw` is the text itself.
  [[nodiscard]] bool has_escapes() const noexcept { return _has_escapes; }
  /// Appends the decoded text.
  void append_to(std::string& out) const;
  [[nodiscard]] std::string decoded() const;
  /// Whether `text` is the decoded text; allocates nothing.
  [[nodiscard]] bool operator==(std::string_view text) const noexcept {
    return _has_escapes ? _decodes_to(text) : _raw == text;
  }

 private:
  [[nodiscard]] bool _decodes_to(std::string_view text) const noexcept;

  std::string_view _raw;
  bool _has_escapes = false;
};

/// One value of a JsonDocument: a small handle that is valid until the document reads again or ends, and as long as
/// the text that the document was read from.
class JsonValue {
 public:
  /// What it is.
  [[nodiscard]] JsonKind kind() const noexcept { return _entry->kind; }
  [[nodiscard]] bool is_object() const noexcept { return kind() == JsonKind::object; }
  [[nodiscard]] bool is_array() const noexcept { return kind() == JsonKind::array; }
  [[nodiscard]] bool is_string() const noexcept { return kind() == JsonKind::string; }
  [[nodiscard]] bool is_number() const noexcept { return kind() == JsonKind::number; }

  /// The value exactly as written in the document (a string with its quotes), and where it begins there, in bytes.
  /// `raw` is linear in what an array or object holds.
  [[nodiscard]] std::string_view raw() const noexcept;
  [[nodiscard]] std::size_t offset() const noexcept { return _entry->begin; }

  /// The decoded text of a string; empty for any other kind.
  [[nodiscard]] std::string string() const { return string_slice().decoded(); }
  /// The same as a slice of the document, for callers that would not copy it.
  [[nodiscard]] JsonString string_slice() const noexcept;
  /// Whether this is a string whose decoded text is `text`; decodes nothing it need not.
  [[nodiscard]] bool is_string_equal_to(std::string_view text) const noexcept {
    return is_string() && string_slice() == text;
  }
  /// true or false; absent for any other kind.
  [[nodiscard]] std::optional<bool> boolean() const noexcept;
  /// The nearest double (infinite when too large); absent for any other kind.
  [[nodiscard]] std::optional<double> number() const noexcept;

  /// Not null, not false, not the number 0 (nor one that rounds to it), not an empty string, array or object.
  [[nodiscard]] bool is_truthy() const noexcept;
  /// A string is itself; an integer (no ".", "e" or "E") is its digits as written; any other number its shortest
  /// decimal (as `shortest_decimal`; as written when too large for a double). Absent for every other kind.
  [[nodiscard]] std::optional<std::string> text_form() const;

  /// Whether an array or object has no elements; true for every other kind.
  [[nodiscard]] bool is_empty() const noexcept { return _entry->span() == 1; }
  /// The last member named `key`; absent when there is none and when this is not an object. Linear in the members.
  [[nodiscard]] std::optional<JsonValue> find(std::string_view key) const noexcept;
  /// The last member for each of some keys, none longer than 63 bytes, in one pass over the members.
  template <std::size_t N>
  [[nodiscard]] std::array<std::optional<JsonValue>, N> find_each(const std::array<std::string_view, N>& keys) const {
    std::array<std::optional<JsonValue>, N> found;
    _find_each(keys, found);
    return found;
  }
  /// First element of an array; absent when it is empty or this is not an array.
  [[nodiscard]] std::optional<JsonValue> first() const noexcept;

  /// The distinct members of an object, in order, each with its last value; none for any other kind. Finding them is
  /// linear in the members (expected) and done once; iterating allocates nothing beyond what the document keeps.
  [[nodiscard]] JsonMembers members() const;
  /// The elements of an array, in order; none for any other kind.
  [[nodiscard]] JsonElements elements() const noexcept;
  /// The elements of an array, or the values of `members`, in order; none for any other kind.
  [[nodiscard]] JsonElements children() const;

  /// Whether both are the same place of the same document.
  [[nodiscard]] bool operator==(const JsonValue&) const = default;

 private:
  friend class JsonDocument;
  template <class Item>
  friend class JsonRange;
  JsonValue(json_internal::Entry* entry, JsonDocument* document) noexcept : _entry(entry), _document(document) {}

  void _find_each(std::span<const std::string_view> keys, std::span<std::optional<JsonValue>> found) const noexcept;

  json_internal::Entry* _entry = nullptr;
  JsonDocument* _document = nullptr;
};

/// A member of an object.
struct JsonMember {
  JsonString key;   ///< as a slice of the document
  JsonValue value;  ///< where the key is repeated: the last one
};

/// Why a text was refused.
struct JsonError {
  std::size_t offset = 0;    ///< where, in bytes
  std::string_view message;  ///< such as "expected ':' after a key"; a constant of the reader
};

/// Reads texts, one after the other, into the same buffers: no heap growth once they fit. A caller who needs the
/// values of several texts at a time keeps several documents.
class JsonDocument {
 public:
  JsonDocument() noexcept;
  JsonDocument(const JsonDocument&) = delete;
  JsonDocument& operator=(const JsonDocument&) = delete;
  ~JsonDocument();

  /// The value that `text` holds, whitespace (space, tab, line feed, carriage return) around it passed over. Absent,
  /// with `error` saying why, when it is no JSON. Ends the values of the text that was read before.
  /// Throws nothing but std::bad_alloc.
  [[nodiscard]] std::optional<JsonValue> read(std::string_view text);

  /// Why the last `read` gave no value.
  [[nodiscard]] const JsonError& error() const noexcept { return _error; }

  /// Gives back the buffers. Ends the values, too.
  void release() noexcept;

  /// The value of the last `read`; only after one that gave a value.
  [[nodiscard]] JsonValue root() noexcept { return {_tape.entries.get(), this}; }

 private:
  template <class Item>
  friend class JsonRange;
  friend class JsonValue;
  friend bool json_internal::read(JsonDocument&, std::string_view, json_internal::Scanning);

  struct KeyTables;

  [[nodiscard]] std::string_view _slice(std::uint32_t begin, std::uint32_t end) const noexcept {
    return {_text.data() + begin, end - begin};
  }
  [[nodiscard]] JsonString _key(const json_internal::Entry& entry) const noexcept {
    const std::size_t size = entry.key_size == json_internal::LONG_KEY ? _long_key_size(entry) : entry.key_size;
    return {{_text.data() + entry.key_begin, size}, (entry.flags & json_internal::KEY_HAS_ESCAPES) != 0};
  }
  [[nodiscard]] std::size_t _long_key_size(const json_internal::Entry& entry) const noexcept;
  [[nodiscard]] std::uint32_t _end_of_container(const json_internal::Entry& container) const noexcept;
  [[nodiscard]] std::uint32_t _end(const json_internal::Entry& entry) const noexcept;
  void _settle_keys(json_internal::Entry& object);
  [[nodiscard]] bool _may_repeat_keys(const json_internal::Entry& object) const noexcept;
  void _mark_repeated_keys(json_internal::Entry& object);
  [[nodiscard]] std::string_view _decoded_key(const json_internal::Entry& member);

  std::string_view _text;
  json_internal::Tape _tape;
  JsonError _error;
  std::unique_ptr<KeyTables> _key_tables;  // once an object needed them
};

/// What an array (of JsonValue) or an object (of JsonMember) holds, to iterate.
template <class Item>
class JsonRange {
 public:
  class iterator {
   public:
    using iterator_category = std::input_iterator_tag;  // gives values, not references
    using value_type = Item;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = Item;

    iterator() = default;
    [[nodiscard]] Item operator*() const noexcept;
    iterator& operator++() noexcept {
      json_internal::prefetch_behind(_entry);
      do _entry += _entry->span();
      while (_entry != _end && (_entry->flags & json_internal::KEY_REPEATED) != 0);
      return *this;
    }
    iterator operator++(int) noexcept {
      iterator before = *this;
      ++*this;
      return before;
    }
    [[nodiscard]] bool operator==(const iterator& other) const noexcept { return _entry == other._entry; }
    [[nodiscard]] bool operator==(std::default_sentinel_t /*end*/) const noexcept { return _entry == _end; }

   private:
    template <class>
    friend class JsonRange;
    iterator(json_internal::Entry* entry, json_internal::Entry* end, JsonDocument* document) noexcept
        : _entry(entry), _end(end), _document(document) {}

    json_internal::Entry* _entry = nullptr;
    json_internal::Entry* _end = nullptr;
    JsonDocument* _document = nullptr;
  };

  /// In document order.
  [[nodiscard]] iterator begin() const noexcept { return {_begin, _end, _document}; }
  [[nodiscard]] iterator end() const noexcept { return {_end, _end, _document}; }

 private:
  friend class JsonValue;
  JsonRange(json_internal::Entry* begin, json_internal::Entry* end, JsonDocument* document) noexcept
      : _begin(begin), _end(end), _document(document) {}

  json_internal::Entry* _begin;
  json_internal::Entry* _end;
  JsonDocument* _document;
};

template <>
inline JsonValue JsonElements::iterator::operator*() const noexcept {
  const bool superseded = (_entry->flags & json_internal::SUPERSEDED) != 0;
  return {superseded ? _entry + _entry->begin : _entry, _document};
}

template <>
inline JsonMember JsonMembers::iterator::operator*() const noexcept {
  return {_document->_key(*_entry), *JsonElements::iterator(_entry, _end, _document)};
}

inline std::uint32_t JsonDocument::_end(const json_internal::Entry& entry) const noexcept {
  return entry.is_container() ? _end_of_container(entry) : entry.extent;
}

inline std::string_view JsonValue::raw() const noexcept {
  return _document->_slice(_entry->begin, _document->_end(*_entry));
}

inline JsonString JsonValue::string_slice() const noexcept {
  if (!is_string()) return {};
  return {_document->_slice(_entry->begin + 1, _entry->extent - 1),
          (_entry->flags & json_internal::VALUE_HAS_ESCAPES) != 0};
}

inline JsonMembers JsonValue::members() const {
  if (!is_object()) return {_entry, _entry, _document};
  if ((_entry->flags & json_internal::KEYS_SETTLED) == 0) _document->_settle_keys(*_entry);
  return {_entry + 1, _entry + _entry->extent, _document};
}

inline JsonElements JsonValue::elements() const noexcept {
  if (!is_array()) return {_entry, _entry, _document};
  return {_entry + 1, _entry + _entry->extent, _document};
}

inline JsonElements JsonValue::children() const {
  if (!is_object()) return elements();
  const JsonMembers all = members();
  return {all._begin, all._end, _document};
}

}  // namespace quillmere::text
