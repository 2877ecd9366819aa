#include "cli/errors.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "quillmere/text/unicode.hpp"

namespace quillmere::cli {
namespace {

struct RemedyRow {
  int error_number;
  std::string_view remedy;
};

constexpr auto REMEDIES = std::to_array<RemedyRow>({
    {ENOENT, "; give the name of a file, or \"-\" for standard input"},
    {EISDIR, "; name a file in it"},
    {ENOTDIR, "; name a directory that is one, or can be made, before the file"},
    {EACCES, "; change its permissions or name another place"},
    {EROFS, "; name another place"},
    {ENOSPC, "; free some space or name another place"},
});

constexpr std::size_t QUOTE_LIMIT = 120;  // bytes of foreign text that a message repeats

void append_hex(std::string& out, std::string_view prefix, std::size_t digits, unsigned value) {
  constexpr std::string_view HEX = "0123456789abcdef";
  out += prefix;
  for (std::size_t i = digits; i-- > 0;) out += HEX[value >> (4 * i) & 15U];
}

/// Length of the well-formed UTF-8 character that `text` begins with; 0 when there is none.
std::size_t character_length(std::string_view text) {
  for (std::size_t length = 1; length <= 4 && length <= text.size(); ++length) {
    if (text::is_valid_utf8(text.substr(0, length))) return length;
  }
  return 0;
}

void append_code_point(std::string& out, std::string_view character) {
  unsigned code_point = static_cast<unsigned char>(character[0]);
  if (character.size() == 2) code_point &= 0x1F;
  if (character.size() == 3) code_point &= 0x0F;
  if (character.size() == 4) code_point &= 0x07;
  for (const char byte : character.substr(1)) code_point = code_point << 6 | (static_cast<unsigned char>(byte) & 0x3F);
  const bool is_c1_control = code_point >= 0x80 && code_point < 0xA0;
  const bool breaks_lines = code_point == 0x2028 || code_point == 0x2029;
  const bool reorders = code_point == 0x200E || code_point == 0x200F || code_point == 0x061C ||
                        (code_point >= 0x202A && code_point <= 0x202E) ||
                        (code_point >= 0x2066 && code_point <= 0x2069);
  if (is_c1_control || breaks_lines || reorders) {
    append_hex(out, "\\u", 4, code_point);
  } else {
    out += character;
  }
}

}  // namespace

std::string printable(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = character_length(text);
    const char first = text.front();
    if (first == '\n') {
      out += "\\n";
    } else if (first == '\r') {
      out += "\\r";
    } else if (first == '\t') {
      out += "\\t";
    } else if (length == 0 || static_cast<unsigned char>(first) < 0x20 || first == 0x7F) {
      append_hex(out, "\\x", 2, static_cast<unsigned char>(first));
    } else {
      append_code_point(out, text.substr(0, length));
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return out;
}

std::string excerpt(std::string_view text) {
  if (text.size() <= QUOTE_LIMIT) return std::string(text);
  std::size_t end = QUOTE_LIMIT;
  while (end > QUOTE_LIMIT - 4 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return std::string(text.substr(0, end)) + "...";
}

std::string in_quotes(std::string_view text) {
  return '"' + excerpt(text) + '"';
}

void report(std::string_view text) {
  const std::string line = "quillmere: " + printable(text) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

std::string system_text(int error_number) {
  const auto* row = std::ranges::find(REMEDIES, error_number, &RemedyRow::error_number);
  return std::generic_category().message(error_number) + std::string(row == REMEDIES.end() ? "" : row->remedy);
}

}  // namespace quillmere::cli
