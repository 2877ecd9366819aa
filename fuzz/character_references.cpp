// Decodes bytes as text of HTML, against a decoder that tries every length of every name.

#include "quillmere/text/character_references.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "quillmere/text/unicode.hpp"

namespace {

const std::map<std::string, std::string, std::less<>> NAMES = {
#include "quillmere/text/character_references_table.inc"
};

// The characters of Windows-1252 from 128 on, each filled up to three bytes with "|".
constexpr std::string_view WINDOWS_1252 =
    "€\xC2\x81|‚ƒ|„…†‡ˆ|‰Š|‹Œ|\xC2\x8D|Ž|\xC2\x8F|\xC2\x90|‘’“”•–—˜|™š|›œ|\xC2\x9D|ž|Ÿ|";
static_assert(WINDOWS_1252.size() == 3 * 32);

std::string character(const std::string& digits, int base) {
  const std::size_t begin = digits.find_first_not_of('0');
  const std::string significant = begin == std::string::npos ? "0" : digits.substr(begin);
  const unsigned long number = significant.size() > 7 ? 0 : std::stoul(significant, nullptr, base);
  if (number >= 128 && number < 160) {
    const std::string filled(WINDOWS_1252.substr(3 * (number - 128), 3));
    return filled.substr(0, filled.find('|'));
  }
  if (number == 0 || (number >= 0xD800 && number < 0xE000) || number > 0x10FFFF) return "\uFFFD";
  std::string text;
  quillmere::text::append_utf8(text, static_cast<char32_t>(number));
  return text;
}

/// What the reference that `text`, which begins with "&", begins with stands for, and its length; a lone "&" for none.
std::pair<std::string, std::size_t> read(std::string_view text) {
  if (text.starts_with("&#")) {
    const bool is_hexadecimal = text.size() > 2 && (text[2] | 0x20) == 'x';
    const std::size_t begin = is_hexadecimal ? 3 : 2;
    const std::string_view allowed = is_hexadecimal ? "0123456789abcdefABCDEF" : "0123456789";
    const std::size_t end = std::min(text.find_first_not_of(allowed, begin), text.size());
    if (end > begin) {
      const bool has_semicolon = end < text.size() && text[end] == ';';
      return {character(std::string(text.substr(begin, end - begin)), is_hexadecimal ? 16 : 10), end + has_semicolon};
    }
  } else {
    for (std::size_t length = 32; length > 0; --length) {
      const auto row = NAMES.find(text.substr(1, length));
      if (row != NAMES.end()) return {row->second, 1 + row->first.size()};
    }
  }
  return {"&", 1};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string expected;
  for (std::size_t position = 0; position < size;) {
    if (text[position] != '&') {
      expected += text[position++];
      continue;
    }
    const auto [characters, length] = read(text.substr(position));
    expected += characters;
    position += length;
  }
  if (quillmere::text::decode_character_references(text) != expected) std::abort();
  return 0;
}
