#pragma once

#include <cstddef>
#include <string_view>

/// The questions about bytes that the page verifiers ask.
namespace quillmere::commerce::page {

inline constexpr std::size_t NOWHERE = std::string_view::npos;

[[nodiscard]] constexpr char fold(char byte) noexcept {
  return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte | 0x20) : byte;
}

[[nodiscard]] constexpr bool is_quote(char byte) noexcept {
  return byte == '"' || byte == '\'';
}
[[nodiscard]] constexpr bool is_tag_end(char byte) noexcept {
  return byte == '>';
}

enum class Case : bool { exact, folded };

/// Whether `text` stands in `page` at `at`; with Case::folded, `text` is lower case and ASCII case does not count.
[[nodiscard]] constexpr bool stands_at(std::string_view page, std::size_t at, std::string_view text,
                                       Case letters = Case::folded) noexcept {
  if (at > page.size() || page.size() - at < text.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char byte = page[at + i];
    if ((letters == Case::folded ? fold(byte) : byte) != text[i]) return false;
  }
  return true;
}

/// Whether `text` stands in `page` so that it ends right before `end`.
[[nodiscard]] constexpr bool ends_at(std::string_view page, std::size_t end, std::string_view text,
                                     Case letters = Case::folded) noexcept {
  return end >= text.size() && stands_at(page, end - text.size(), text, letters);
}

/// Whether the Unicode lower case of `text` is `lower`, an ASCII text. Beyond ASCII this can only be so for U+212A
/// KELVIN SIGN, whose lower case is "k": no other character's lower case is all ASCII.
[[nodiscard]] constexpr bool lower_case_is(std::string_view text, std::string_view lower) noexcept {
  constexpr std::string_view KELVIN_SIGN = "\xE2\x84\xAA";
  std::size_t at = 0;
  for (const char letter : lower) {
    if (at < text.size() && fold(text[at]) == letter) {
      ++at;
    } else if (letter == 'k' && stands_at(text, at, KELVIN_SIGN, Case::exact)) {
      at += KELVIN_SIGN.size();
    } else {
      return false;
    }
  }
  return at == text.size();
}

[[nodiscard]] inline bool quote_at(std::string_view page, std::size_t at) noexcept {
  return at < page.size() && is_quote(page[at]);
}

[[nodiscard]] inline std::size_t find_tag_start(std::string_view page, std::size_t from) noexcept {
  return page.find('<', from);
}

[[nodiscard]] inline std::size_t find_tag_end(std::string_view page, std::size_t from) noexcept {
  return page.find('>', from);
}

/// How many bytes `holds_any` looks at: a compiler turns that into a few vector instructions.
inline constexpr std::size_t SCAN_BLOCK = 64;

template <bool (*Is)(char)>
[[nodiscard]] inline bool holds_any(const char* block) noexcept {
  unsigned char any = 0;
  for (std::size_t i = 0; i < SCAN_BLOCK; ++i) any |= static_cast<unsigned char>(Is(block[i]));
  return any != 0;
}

/// First quote, of either kind, at `from` or later.
[[nodiscard]] inline std::size_t find_quote(std::string_view page, std::size_t from) noexcept {
  std::size_t at = from;
  while (at < page.size() && page.size() - at >= SCAN_BLOCK && !holds_any<is_quote>(page.data() + at)) at += SCAN_BLOCK;
  for (; at < page.size(); ++at) {
    if (is_quote(page[at])) return at;
  }
  return NOWHERE;
}

/// First `tag` (lower case, beginning with '<') at `from` or later and wholly before `end`.
[[nodiscard]] inline std::size_t find_tag(std::string_view page, std::string_view tag, std::size_t from,
                                          std::size_t end, Case letters = Case::folded) noexcept {
  const std::string_view stretch = page.substr(0, end);
  for (std::size_t at = stretch.find('<', from); at != NOWHERE; at = stretch.find('<', at + 1)) {
    if (stands_at(stretch, at, tag, letters)) return at;
  }
  return NOWHERE;
}

/// What `Find` finds, asked from places that never move backwards: together the questions cost one look at each byte
/// of the page.
template <std::size_t (*Find)(std::string_view, std::size_t)>
class Ahead {
 public:
  explicit Ahead(std::string_view page) noexcept : _page(page) {}

  [[nodiscard]] std::size_t from(std::size_t at) noexcept {
    if (!_asked || (_answer != NOWHERE && _answer < at)) _answer = Find(_page, at);
    _asked = true;
    return _answer;
  }

 private:
  std::string_view _page;
  std::size_t _answer = 0;
  bool _asked = false;
};

/// Where the last byte that `Is` holds for stands, asked from places that never move backwards, at the cost of Ahead.
template <bool (*Is)(char)>
class Behind {
 public:
  explicit Behind(std::string_view page) noexcept : _page(page) {}

  /// One past the last such byte before `at`; 0 when there is none.
  [[nodiscard]] std::size_t after_last_before(std::size_t at) noexcept {
    std::size_t end = at;
    while (end - _seen >= SCAN_BLOCK && !holds_any<Is>(_page.data() + end - SCAN_BLOCK)) end -= SCAN_BLOCK;
    while (end > _seen && !Is(_page[end - 1])) --end;
    if (end > _seen) _answer = end;
    _seen = at;
    return _answer;
  }

 private:
  std::string_view _page;
  std::size_t _seen = 0;
  std::size_t _answer = 0;
};

}  // namespace quillmere::commerce::page
