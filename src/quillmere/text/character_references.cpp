#include "quillmere/text/character_references.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "quillmere/text/unicode.hpp"

namespace quillmere::text {
namespace {

/// A row as it is written: a name with its ";", if it has one, and the characters that it stands for.
struct WrittenReference {
  std::string_view name;
  std::string_view characters;
};

constexpr WrittenReference WRITTEN_REFERENCES[] = {
#include "quillmere/text/character_references_table.inc"
};
constexpr std::size_t COUNT = std::size(WRITTEN_REFERENCES);

static_assert(COUNT == 2231);
static_assert(std::ranges::is_sorted(WRITTEN_REFERENCES, {}, &WrittenReference::name));

constexpr std::size_t POOL_SIZE = [] {
  std::size_t size = 0;
  for (const WrittenReference& row : WRITTEN_REFERENCES) size += row.name.size() + row.characters.size();
  return size;
}();

/// The rows as they are searched: packed at compile time, so that the program holds no pointer into them to relocate.
struct PackedReferences {
  struct Row {
    std::uint16_t name;  ///< where the name stands in the pool; its characters follow it
    std::uint8_t name_size;
    std::uint8_t characters_size;
  };
  std::array<Row, COUNT> rows{};
  std::array<char, POOL_SIZE> pool{};

  [[nodiscard]] constexpr std::string_view name(const Row& row) const noexcept {
    return {pool.data() + row.name, row.name_size};
  }
  [[nodiscard]] constexpr std::string_view characters(const Row& row) const noexcept {
    return {pool.data() + row.name + row.name_size, row.characters_size};
  }
};

static_assert(POOL_SIZE <= UINT16_MAX);

constexpr PackedReferences REFERENCES = [] {
  PackedReferences packed;
  auto end = packed.pool.begin();
  for (std::size_t index = 0; index < COUNT; ++index) {
    const auto& [name, characters] = WRITTEN_REFERENCES[index];
    packed.rows[index] = {static_cast<std::uint16_t>(end - packed.pool.begin()), static_cast<std::uint8_t>(name.size()),
                          static_cast<std::uint8_t>(characters.size())};
    end = std::ranges::copy(name, end).out;
    end = std::ranges::copy(characters, end).out;
  }
  return packed;
}();

/// What numbers 128 to 159 stand for: the code points of Windows-1252, or themselves where it has none.
constexpr std::array<char16_t, 32> WINDOWS_1252 = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                                   0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                                   0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                                   0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

constexpr char32_t LAST_CODE_POINT = 0x10FFFF;

char32_t named_by_number(char32_t number) noexcept {
  if (number >= 0x80 && number <= 0x9F) return WINDOWS_1252[number - 0x80];
  const bool is_surrogate = number >= 0xD800 && number <= 0xDFFF;
  return number == 0 || is_surrogate || number > LAST_CODE_POINT ? U'\uFFFD' : number;
}

/// The value of a hexadecimal digit; 16 for any other character.
unsigned digit_value(char digit) noexcept {
  if (digit >= '0' && digit <= '9') return static_cast<unsigned>(digit - '0');
  if (digit >= 'a' && digit <= 'f') return static_cast<unsigned>(digit - 'a') + 10;
  if (digit >= 'A' && digit <= 'F') return static_cast<unsigned>(digit - 'A') + 10;
  return 16;
}

/// Reads the numeric reference that `text`, which begins with "&#", begins with; gives its length, 0 when there is
/// none.
std::size_t decode_numeric(std::string_view text, std::string& out) {
  const bool is_hexadecimal = text.size() > 2 && (text[2] == 'x' || text[2] == 'X');
  const unsigned base = is_hexadecimal ? 16 : 10;
  const std::size_t begin = is_hexadecimal ? 3 : 2;
  std::size_t end = begin;
  char32_t number = 0;
  for (; end < text.size() && digit_value(text[end]) < base; ++end) {
    if (number <= LAST_CODE_POINT) number = number * base + digit_value(text[end]);
  }
  if (end == begin) return 0;
  append_utf8(out, named_by_number(number));
  return end < text.size() && text[end] == ';' ? end + 1 : end;
}

/// The place among all pairs of letters, in their order, of those that a name begins with; out of range for others.
constexpr std::size_t LETTERS = 'z' - 'A' + 1;
constexpr std::size_t pair_of_letters(std::string_view name) noexcept {
  const auto first = static_cast<unsigned>(static_cast<unsigned char>(name[0])) - 'A';
  const auto second = static_cast<unsigned>(static_cast<unsigned char>(name[1])) - 'A';
  return first < LETTERS && second < LETTERS ? first * LETTERS + second : LETTERS * LETTERS;
}

/// The rows whose names begin with one pair of letters stand between its bound and that of the next pair.
constexpr std::array<std::uint16_t, LETTERS* LETTERS + 1> FIRST_ROW = [] {
  std::array<std::uint16_t, LETTERS * LETTERS + 1> first{};
  std::size_t row = 0;
  for (std::size_t pair = 0; pair < first.size(); ++pair) {
    while (row < COUNT && pair_of_letters(WRITTEN_REFERENCES[row].name) < pair) ++row;
    first[pair] = static_cast<std::uint16_t>(row);
  }
  return first;
}();
static_assert(FIRST_ROW.back() == COUNT, "every name begins with two letters");

/// Reads the longest named reference that `text`, which begins with "&", begins with; gives its length, 0 for none.
std::size_t decode_named(std::string_view text, std::string& out) {
  using Row = PackedReferences::Row;
  const std::string_view rest = text.substr(1);
  if (rest.size() < 2) return 0;
  const std::size_t pair = pair_of_letters(rest);
  if (pair == LETTERS * LETTERS) return 0;
  // The rows whose names begin with the first `size` characters of `rest`, the one that is no longer before the others.
  std::size_t size = 2;
  const Row* first = REFERENCES.rows.data() + FIRST_ROW[pair];
  const Row* last = REFERENCES.rows.data() + FIRST_ROW[pair + 1];
  const Row* longest = nullptr;
  for (; first != last; ++size) {
    if (first->name_size == size) longest = first++;
    if (size == rest.size()) break;
    const auto next_character = [size](const Row& row) {
      return static_cast<unsigned char>(REFERENCES.pool[row.name + size]);
    };
    const auto wanted = static_cast<unsigned char>(rest[size]);
    first = std::ranges::lower_bound(first, last, wanted, {}, next_character);
    last = std::ranges::upper_bound(first, last, wanted, {}, next_character);
  }
  if (longest == nullptr) return 0;
  out += REFERENCES.characters(*longest);
  return 1 + std::size_t{longest->name_size};
}

}  // namespace

std::string decode_character_references(std::string_view text) {
  std::size_t ampersand = text.find('&');
  if (ampersand == std::string_view::npos) return std::string(text);
  std::string decoded;
  decoded.reserve(text.size());
  std::size_t copied = 0;
  while (ampersand != std::string_view::npos) {
    decoded += text.substr(copied, ampersand - copied);
    const std::string_view rest = text.substr(ampersand);
    const std::size_t length = rest.starts_with("&#") ? decode_numeric(rest, decoded) : decode_named(rest, decoded);
    copied = ampersand + length;
    ampersand = text.find('&', length == 0 ? ampersand + 1 : copied);
  }
  decoded += text.substr(copied);
  return decoded;
}

}  // namespace quillmere::text
