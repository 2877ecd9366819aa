#include "quillmere/text/unicode.hpp"

#include <algorithm>
#include <cstdint>
#include <new>
#include <simdjson.h>

#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace quillmere::text {
namespace {

unsigned char byte_at(std::string_view text, std::size_t position) noexcept {
  return static_cast<unsigned char>(text[position]);
}

bool is_ascii_whitespace(unsigned char byte) noexcept {
  return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

bool is_continuation(char byte) noexcept {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

/// Length in bytes of the whitespace character that `text` ends with, 0 when it ends with none.
std::size_t trailing_whitespace(std::string_view text) noexcept {
  if (text.empty()) return 0;
  const unsigned char last = byte_at(text, text.size() - 1);
  if (last < 0x80) return is_ascii_whitespace(last) ? 1 : 0;
  for (const std::size_t length : {std::size_t{2}, std::size_t{3}}) {
    if (text.size() >= length && leading_whitespace(text.substr(text.size() - length)) == length) return length;
  }
  return 0;
}

/// The bytes that whitespace begins with, and some other characters as well.
constexpr std::array<bool, 256> MAY_BEGIN_WHITESPACE = [] {
  std::array<bool, 256> may_begin{};
  for (const char byte : std::string_view("\t\n\v\f\r \xC2\xE1\xE2\xE3")) {
    may_begin[static_cast<unsigned char>(byte)] = true;
  }
  return may_begin;
}();

/// Calls `visit` with each piece between runs of whitespace, in order, until it gives false.
template <class Visit>
void for_each_piece(std::string_view text, Visit visit) {
  std::size_t begin = 0;
  std::size_t position = 0;
  while (position < text.size()) {
    const std::size_t length =
        MAY_BEGIN_WHITESPACE[byte_at(text, position)] ? leading_whitespace(text.substr(position)) : 0;
    if (length == 0) {
      ++position;
      continue;
    }
    if (begin < position && !visit(text.substr(begin, position - begin))) return;
    position += length;
    begin = position;
  }
  if (begin < position) visit(text.substr(begin));
}

/// Runs `map(piece, sink, status)` over `text` in pieces that ICU's 32-bit lengths can hold; one piece, in practice.
template <class Map>
std::string map_with_icu(std::string_view text, Map map) {
  constexpr std::size_t MAX_PIECE = std::size_t{1} << 29U;
  std::string mapped;
  mapped.reserve(text.size());
  icu::StringByteSink<std::string> sink(&mapped);
  while (!text.empty()) {
    std::size_t length = std::min(text.size(), MAX_PIECE);
    while (length < text.size() && length > MAX_PIECE - 4 && is_continuation(text[length])) --length;
    UErrorCode status = U_ZERO_ERROR;
    map(icu::StringPiece(text.data(), static_cast<std::int32_t>(length)), sink, status);
    // Out of memory is the only way in which these mappings fail.
    if (U_FAILURE(status) != 0) throw std::bad_alloc();
    text.remove_prefix(length);
  }
  return mapped;
}

char ascii_to_lower(char letter) noexcept {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
}

char ascii_to_upper(char letter) noexcept {
  return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - ('a' - 'A')) : letter;
}

template <char (*MapAscii)(char) noexcept>
std::string map_ascii(std::string_view text) {
  std::string mapped(text);
  for (char& letter : mapped) letter = MapAscii(letter);
  return mapped;
}

#pragma GCC diagnostic push  // ICU's macro is full of narrowing conversions
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"

/// The code point at `position`, which moves behind it; U+FFFD for a maximal invalid subpart.
char32_t next_code_point(std::string_view text, std::size_t& position) noexcept {
  UChar32 code_point = 0;
  U8_NEXT_OR_FFFD(text, position, text.size(), code_point);
  return static_cast<char32_t>(code_point);
}

#pragma GCC diagnostic pop

bool is_letter(char32_t code_point) noexcept {
  return (U_GET_GC_MASK(static_cast<UChar32>(code_point)) & U_GC_L_MASK) != 0;
}

/// End of the run of letters that begins at `begin`, which is `begin` when no letter stands there.
std::size_t end_of_letters(std::string_view text, std::size_t begin) noexcept {
  std::size_t end = begin;
  for (std::size_t next = begin; next < text.size(); end = next) {
    if (!is_letter(next_code_point(text, next))) break;
  }
  return end;
}

}  // namespace

bool is_valid_utf8(std::string_view bytes) noexcept {
  return bytes.empty() || simdjson::validate_utf8(bytes.data(), bytes.size());
}

std::string to_valid_utf8(std::string bytes) {
  if (is_valid_utf8(bytes)) return bytes;
  const std::string_view source = bytes;
  std::string valid;
  valid.reserve(bytes.size());
  for (std::size_t position = 0; position < source.size();) {
    append_utf8(valid, next_code_point(source, position));
  }
  return valid;
}

std::size_t count_characters(std::string_view text) noexcept {
  return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), is_continuation));
}

bool is_longer_than(std::string_view text, std::size_t limit) noexcept {
  if (text.size() <= limit) return false;
  // A character has at most four bytes.
  if (text.size() / 4 > limit) return true;
  std::size_t count = 0;
  for (const char byte : text) {
    if (!is_continuation(byte) && ++count > limit) return true;
  }
  return false;
}

std::size_t leading_whitespace(std::string_view text) noexcept {
  if (text.empty()) return 0;
  const unsigned char first = byte_at(text, 0);
  if (first < 0x80) return is_ascii_whitespace(first) ? 1 : 0;
  if (first == 0xC2 && text.size() >= 2) {  // U+0085, U+00A0
    const unsigned char second = byte_at(text, 1);
    return second == 0x85 || second == 0xA0 ? 2 : 0;
  }
  if (first < 0xE1 || first > 0xE3 || text.size() < 3) return 0;
  const unsigned char second = byte_at(text, 1);
  const unsigned char third = byte_at(text, 2);
  if (first == 0xE1) return second == 0x9A && third == 0x80 ? 3 : 0;  // U+1680
  if (first == 0xE3) return second == 0x80 && third == 0x80 ? 3 : 0;  // U+3000
  if (second == 0x80) {                                               // U+2000-200A, U+2028, U+2029, U+202F
    return (third >= 0x80 && third <= 0x8A) || third == 0xA8 || third == 0xA9 || third == 0xAF ? 3 : 0;
  }
  return second == 0x81 && third == 0x9F ? 3 : 0;  // U+205F
}

std::string_view strip(std::string_view text) noexcept {
  while (const std::size_t length = leading_whitespace(text)) text.remove_prefix(length);
  while (const std::size_t length = trailing_whitespace(text)) text.remove_suffix(length);
  return text;
}

bool has_more_words_than(std::string_view text, std::size_t limit) noexcept {
  std::size_t words = 0;
  for_each_piece(text, [&](std::string_view /*word*/) { return ++words <= limit; });
  return words > limit;
}

std::string collapse_whitespace(std::string_view text) {
  std::string collapsed;
  collapsed.reserve(text.size());
  for_each_piece(text, [&](std::string_view piece) {
    if (!collapsed.empty()) collapsed += ' ';
    collapsed += piece;
    return true;
  });
  return collapsed;
}

std::string to_lower(std::string_view text) {
  if (is_ascii(text)) return map_ascii<ascii_to_lower>(text);
  return map_with_icu(text, [](icu::StringPiece piece, icu::ByteSink& sink, UErrorCode& status) {
    icu::CaseMap::utf8ToLower("", 0, piece, sink, nullptr, status);
  });
}

std::string to_upper(std::string_view text) {
  if (is_ascii(text)) return map_ascii<ascii_to_upper>(text);
  return map_with_icu(text, [](icu::StringPiece piece, icu::ByteSink& sink, UErrorCode& status) {
    icu::CaseMap::utf8ToUpper("", 0, piece, sink, nullptr, status);
  });
}

std::string to_title(std::string_view text) {
  std::string title;
  title.reserve(text.size());
  for (std::size_t position = 0; position < text.size();) {
    const std::size_t begin = position;
    const std::size_t end = end_of_letters(text, begin);
    next_code_point(text, position);
    const std::string_view first = text.substr(begin, position - begin);
    if (end == begin) {
      title += first;
      continue;
    }
    // The run is lower-cased as a whole, so that a sigma at its end knows of the letters before it.
    const std::string rest = to_lower(text.substr(begin, end - begin));
    title += to_upper(first);
    title += std::string_view(rest).substr(to_lower(first).size());
    position = end;
  }
  return title;
}

std::string nfkc(std::string_view text) {
  if (is_ascii(text)) return std::string(text);
  return map_with_icu(text, [](icu::StringPiece piece, icu::ByteSink& sink, UErrorCode& status) {
    const icu::Normalizer2* form = icu::Normalizer2::getNFKCInstance(status);
    if (form != nullptr) form->normalizeUTF8(0, piece, sink, nullptr, status);
  });
}

bool is_ascii(std::string_view text) noexcept {
  constexpr std::size_t BLOCK = 64;
  while (!text.empty()) {
    const std::string_view block = text.substr(0, BLOCK);
    unsigned bits = 0;
    for (const char byte : block) bits |= static_cast<unsigned char>(byte);
    if (bits >= 0x80) return false;
    text.remove_prefix(block.size());
  }
  return true;
}

void append_utf8(std::string& out, char32_t code_point) {
  std::uint8_t bytes[U8_MAX_LENGTH];
  std::size_t length = 0;
  U8_APPEND_UNSAFE(bytes, length, code_point);
  out.append(bytes, bytes + length);
}

}  // namespace quillmere::text
