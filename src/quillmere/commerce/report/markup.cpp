#include "quillmere/commerce/report/markup.hpp"

#include <array>
#include <cmath>
#include <cstdio>

#include "quillmere/text/number.hpp"
#include "quillmere/text/unicode.hpp"
#include "quillmere/text/url.hpp"

namespace quillmere::commerce::report {
namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";
constexpr std::size_t LONGEST_LINK = 8192;

std::string_view escape_of(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    default:
      return {};
  }
}

/// Length of the valid UTF-8 character that `text` begins with.
std::size_t character_length(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  const std::size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  return std::min(length, text.size());
}

bool is_space(char c) {
  return c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == ' ';
}

/// Characters that a document must not hold: controls, U+FDD0 to U+FDEF, the last two of each plane.
bool is_forbidden(std::string_view character) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(character[i]); };
  if (character.size() == 1) return byte(0) < 0x20 || byte(0) == 0x7F;
  if (character.size() == 2) return byte(0) == 0xC2 && byte(1) < 0xA0;
  if (character.size() == 3 && byte(0) == 0xEF) {
    return (byte(1) == 0xB7 && byte(2) >= 0x90 && byte(2) <= 0xAF) || (byte(1) == 0xBF && byte(2) >= 0xBE);
  }
  return character.size() == 4 && (byte(1) & 0x0FU) == 0x0F && byte(2) == 0xBF && byte(3) >= 0xBE;
}

/// A decimal number with its thousands set apart.
std::string with_separators(std::string number) {
  const std::size_t first = number.front() == '-' ? 1 : 0;
  for (std::size_t end = std::min(number.find('.'), number.size()); end > first + 3; end -= 3) {
    number.insert(end - 3, 1, ',');
  }
  return number;
}

}  // namespace

std::string escaped(std::string_view text, std::size_t limit) {
  const std::string valid = text::is_valid_utf8(text) ? std::string() : text::to_valid_utf8(std::string(text));
  std::string_view rest = valid.empty() ? text : valid;
  std::string out;
  for (std::size_t count = 0; !rest.empty(); ++count) {
    if (count == limit) return out + "…";
    const std::string_view character = rest.substr(0, character_length(rest));
    const std::string_view escape = escape_of(character.front());
    if (is_space(character.front())) {
      out += ' ';
    } else if (is_forbidden(character)) {
      out += REPLACEMENT;
    } else {
      out += escape.empty() ? character : escape;
    }
    rest.remove_prefix(character.size());
  }
  return out;
}

std::string isolated(std::string_view text, std::size_t limit) {
  return "<bdi>" + escaped(text, limit) + "</bdi>";
}

std::string currency_name(std::string_view currency) {
  return text::strip(currency).empty() ? "unnamed currency" : isolated(currency, 12);
}

std::optional<std::string> web_link(std::string_view url) {
  if (url.size() > LONGEST_LINK) return std::nullopt;
  try {
    const text::UrlComponents parts = text::urlparse(url);
    if ((parts.scheme != "http" && parts.scheme != "https") || parts.netloc.empty()) return std::nullopt;
    if (parts.netloc.find('@') != std::string::npos) return std::nullopt;  // names one host and leads to another
    std::string link;
    for (const char c : text::urlunparse(parts)) {
      // What browsers would escape themselves, and what they would rather not see in an address.
      if (static_cast<unsigned char>(c) <= ' ' || c == '\x7F' ||
          std::string_view("\"<>\\^`{|}").find(c) != std::string_view::npos) {
        std::array<char, 4> escape{};
        std::snprintf(escape.data(), escape.size(), "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
        link += escape.data();
      } else {
        link += c;
      }
    }
    return escaped(link, LONGEST_LINK * 3);
  } catch (const text::MalformedUrl&) {
    return std::nullopt;
  }
}

std::string money(double amount) {
  if (!(std::abs(amount) < 1e15)) return text::shortest_decimal(amount);
  return with_separators(text::two_decimals(amount));
}

std::string percent(double fraction) {
  std::array<char, 32> digits{};
  std::snprintf(digits.data(), digits.size(), "%.2f%%", fraction * 100);
  return digits.data();
}

std::string label(std::string_view value) {
  std::string text(value);
  for (char& c : text) {
    if (c == '_') c = ' ';
  }
  if (!text.empty() && text.front() >= 'a' && text.front() <= 'z') text.front() = static_cast<char>(text.front() - 32);
  return text;
}

std::string counted(std::size_t count) {
  return with_separators(std::to_string(count));
}

std::string counted(std::size_t count, std::string_view one, std::string_view many) {
  return counted(count) + " " + std::string(count == 1 ? one : many);
}

}  // namespace quillmere::commerce::report
