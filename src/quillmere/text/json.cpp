#include "quillmere/text/json.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>

#include <sys/mman.h>

#include "quillmere/text/json_scan_internal.hpp"

namespace quillmere::text {
namespace {

using json_internal::Entry;
using json_internal::Scanning;
using json_internal::Tape;

constexpr unsigned MAX_DEPTH = 1024;
constexpr std::size_t MAX_TEXT = std::numeric_limits<std::uint32_t>::max();
// What a tape has grown past this (16 MiB) is given back when a smaller text comes.
constexpr std::size_t MAX_KEPT_ENTRIES = std::size_t{1} << 20;

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
bool is_hexadecimal(char c) {
  return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

/// Asks for large memory pages, where the system has them: first touching many small ones costs as much as reading
/// the text does.
void prefer_large_pages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t size) noexcept {
#ifdef MADV_HUGEPAGE
  constexpr std::size_t LARGE_PAGE = std::size_t{2} << 20;
  constexpr std::size_t SMALL_PAGE = 4096;
  if (size < 2 * LARGE_PAGE) return;
  const std::size_t before = reinterpret_cast<std::uintptr_t>(memory) % SMALL_PAGE;
  madvise(static_cast<char*>(memory) - before, size + before, MADV_HUGEPAGE);
#endif
}

void resize(Tape& tape, std::size_t capacity) {
  void* const resized = std::realloc(tape.entries.get(), capacity * sizeof(Entry));
  if (resized == nullptr) throw std::bad_alloc();
  static_cast<void>(tape.entries.release());
  tape.entries.reset(static_cast<Entry*>(resized));
  tape.capacity = capacity;
}

/// Out of line, and unaware of the reader, whose own state can so stay in registers.
[[gnu::noinline]] Entry* grow(Tape& tape, std::size_t least) {
  resize(tape, std::max(2 * tape.capacity, least));
  prefer_large_pages(tape.entries.get(), tape.capacity * sizeof(Entry));
  return tape.entries.get();
}

/// One pass over one text. An open container's `extent` holds its parent's place until it is closed, so there is no
/// stack. Every step leaves `_p` behind what it took, or where the fault is.
template <class Scan>
class TapeReader {
 public:
  TapeReader(std::string_view text, Tape& tape) noexcept
      : _begin(text.data()),
        _p(text.data()),
        _end(text.data() + text.size()),
        _tape(tape),
        _entries(tape.entries.get()) {}

  /// Writes the tape; null, or the message of the fault at `fault_offset`.
  [[nodiscard]] const char* read() {
    if (_tape.capacity == 0) _entries = grow(_tape, 32 + static_cast<std::size_t>(_end - _begin) / 32);
    _skip_whitespace();
    for (;;) {
      if (_used == _tape.capacity) _entries = grow(_tape, 0);
      json_internal::prefetch_behind(_entries + _used);
      if (_in_object && !_read_key()) return _message;
      const auto step = _read_value();
      if (step == Step::failed) return _message;
      if (step == Step::value_ended && !_advance()) return _message;
    }
  }

  [[nodiscard]] std::size_t fault_offset() const noexcept { return static_cast<std::size_t>(_p - _begin); }

 private:
  enum class Step : std::uint8_t { failed, value_ended, container_opened };

  [[nodiscard]] bool _at(char c) const noexcept { return _p != _end && *_p == c; }
  [[nodiscard]] std::uint32_t _offset() const noexcept { return static_cast<std::uint32_t>(_p - _begin); }
  bool _fail(const char* message) noexcept {
    _message = message;
    return false;
  }
  Step _refuse(const char* message) noexcept {
    _message = message;
    return Step::failed;
  }

  void _skip_whitespace() noexcept {
    if (_p == _end || static_cast<unsigned char>(*_p) > ' ') return;
    if (*_p == ' ' && _end - _p > 1 && static_cast<unsigned char>(_p[1]) > ' ') {
      ++_p;
      return;
    }
    _p = Scan::skip_whitespace_run(_p, _end);
  }

  /// From a quotation mark to behind the closing one.
  [[nodiscard]] bool _read_string(bool& has_escapes) noexcept {
    const char* const opening = _p;
    ++_p;
    for (;;) {
      _p = Scan::find_quote_or_escape(_p, _end);
      if (_p == _end) {
        _p = opening;
        return _fail("string without a closing quote");
      }
      if (*_p == '"') {
        ++_p;
        return true;
      }
      has_escapes = true;
      if (!_read_escape()) return _fail("unknown escape in a string");
    }
  }

  [[nodiscard]] bool _read_escape() noexcept {
    if (_end - _p < 2) return false;
    switch (_p[1]) {
      case '"':
      case '\\':
      case '/':
      case 'b':
      case 'f':
      case 'n':
      case 'r':
      case 't':
        _p += 2;
        return true;
      case 'u':
        if (_end - _p < 6 || !std::all_of(_p + 2, _p + 6, is_hexadecimal)) return false;
        _p += 6;
        return true;
      default:
        return false;
    }
  }

  [[nodiscard]] bool _read_digits() noexcept {
    if (_p == _end || !is_digit(*_p)) return _fail("expected a digit");
    do ++_p;
    while (_p != _end && is_digit(*_p));
    return true;
  }

  [[nodiscard]] bool _read_number() noexcept {
    if (*_p == '-') ++_p;
    if (_at('0')) {
      ++_p;
      if (_p != _end && is_digit(*_p)) return _fail("number with a leading zero");
    } else if (!_read_digits()) {
      return false;
    }
    if (_at('.')) {
      ++_p;
      if (!_read_digits()) return false;
    }
    if (_at('e') || _at('E')) {
      ++_p;
      if (_at('+') || _at('-')) ++_p;
      if (!_read_digits()) return false;
    }
    return true;
  }

  [[nodiscard]] bool _read_literal(std::string_view literal) noexcept {
    if (!std::string_view(_p, static_cast<std::size_t>(_end - _p)).starts_with(literal)) {
      return _fail("expected a value");
    }
    _p += literal.size();
    return true;
  }

  /// A key and its colon, into the entry that the value will complete.
  [[nodiscard]] bool _read_key() noexcept {
    if (!_at('"')) return _fail("expected a key in double quotes");
    _key_begin = _offset() + 1;
    bool has_escapes = false;
    if (!_read_string(has_escapes)) return false;
    _key_size =
        static_cast<std::uint16_t>(std::min<std::uint32_t>(_offset() - 1 - _key_begin, json_internal::LONG_KEY));
    _key_flags = has_escapes ? json_internal::KEY_HAS_ESCAPES : std::uint8_t{0};
    _skip_whitespace();
    if (!_at(':')) return _fail("expected ':' after a key");
    ++_p;
    _skip_whitespace();
    return true;
  }

  [[nodiscard]] Step _end_scalar(bool well_formed, std::uint32_t begin, JsonKind kind, bool has_escapes = false) {
    if (!well_formed) return Step::failed;
    const auto flags = static_cast<std::uint8_t>(_key_flags | (has_escapes ? json_internal::VALUE_HAS_ESCAPES : 0));
    _entries[_used++] = {_key_begin, begin, _offset(), _key_size, kind, flags};
    return Step::value_ended;
  }

  [[nodiscard]] Step _read_value() noexcept {
    if (_p == _end) return _refuse("expected a value");
    const std::uint32_t begin = _offset();
    switch (*_p) {
      case '"': {
        bool has_escapes = false;
        const bool well_formed = _read_string(has_escapes);
        return _end_scalar(well_formed, begin, JsonKind::string, has_escapes);
      }
      case '{':
        return _open(JsonKind::object);
      case '[':
        return _open(JsonKind::array);
      case 't':
        return _end_scalar(_read_literal("true"), begin, JsonKind::boolean);
      case 'f':
        return _end_scalar(_read_literal("false"), begin, JsonKind::boolean);
      case 'n':
        return _end_scalar(_read_literal("null"), begin, JsonKind::null);
      case '-':
      case '0':
      case '1':
      case '2':
      case '3':
      case '4':
      case '5':
      case '6':
      case '7':
      case '8':
      case '9':
        return _end_scalar(_read_number(), begin, JsonKind::number);
      case '\xEF':
        return _refuse(begin == 0 ? "expected a value, got a byte-order mark" : "expected a value");
      default:
        return _refuse("expected a value");
    }
  }

  void _forget_key() noexcept {
    _key_begin = 0;
    _key_size = 0;
    _key_flags = 0;
  }

  [[nodiscard]] Step _open(JsonKind kind) noexcept {
    if (_depth == MAX_DEPTH) return _refuse("nested deeper than 1024 levels");
    ++_depth;
    _entries[_used] = {_key_begin, _offset(), _open_index, _key_size, kind, _key_flags};
    _open_index = static_cast<std::uint32_t>(_used++);
    ++_p;
    _in_object = kind == JsonKind::object;
    _forget_key();
    _skip_whitespace();
    if (!_at(_in_object ? '}' : ']')) return Step::container_opened;
    _close();
    return Step::value_ended;
  }

  void _close() noexcept {
    ++_p;
    Entry& closed = _entries[_open_index];
    const std::uint32_t parent = closed.extent;
    closed.extent = static_cast<std::uint32_t>(_used) - _open_index;
    _open_index = parent;
    --_depth;
    _in_object = _depth != 0 && _entries[parent].kind == JsonKind::object;
    _forget_key();
  }

  /// From behind a value to the next key or element, closing the containers that end on the way; false at the end of
  /// the document, with `_message` unset, and at a fault.
  [[nodiscard]] bool _advance() noexcept {
    for (;;) {
      _skip_whitespace();
      if (_depth == 0) return _p == _end ? false : _fail("expected nothing after the document");
      if (_at(',')) {
        ++_p;
        _skip_whitespace();
        return true;
      }
      if (!_at(_in_object ? '}' : ']')) {
        return _fail(_in_object ? "expected ',' or '}' after a member" : "expected ',' or ']' after an element");
      }
      _close();
    }
  }

  const char* const _begin;
  const char* _p;
  const char* const _end;
  Tape& _tape;
  Entry* _entries;
  const char* _message = nullptr;
  std::size_t _used = 0;
  unsigned _depth = 0;
  bool _in_object = false;
  std::uint32_t _open_index = 0;
  std::uint32_t _key_begin = 0;
  std::uint16_t _key_size = 0;
  std::uint8_t _key_flags = 0;
};

template <class Scan>
JsonError read_tape(std::string_view text, Tape& tape) {
  TapeReader<Scan> reader(text, tape);
  const char* const message = reader.read();
  if (message == nullptr) return {};
  return {reader.fault_offset(), message};
}

}  // namespace

bool json_internal::read(JsonDocument& document, std::string_view text, Scanning scanning) {
  document._text = text;
  if (text.size() > MAX_TEXT) {
    document._error = {MAX_TEXT, "text of 4 GiB or more"};
    return false;
  }
  Tape& tape = document._tape;
  if (tape.capacity > MAX_KEPT_ENTRIES && text.size() < tape.capacity) resize(tape, MAX_KEPT_ENTRIES);
  document._error =
      scanning == Scanning::fastest ? read_tape<FastestScan>(text, tape) : read_tape<PortableScan>(text, tape);
  return document._error.message.empty();
}

void JsonDocument::release() noexcept {
  _tape = {};
}

std::optional<JsonValue> JsonDocument::read(std::string_view text) {
  if (!json_internal::read(*this, text, Scanning::fastest)) return std::nullopt;
  return root();
}

}  // namespace quillmere::text
