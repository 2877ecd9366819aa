#include "quillmere/text/url.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <iterator>

#include <arpa/inet.h>
#include <netinet/in.h>

#include "quillmere/text/unicode.hpp"

namespace quillmere::text {
namespace {

constexpr bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
constexpr bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
constexpr bool is_scheme_character(char c) {
  return is_letter(c) || is_digit(c) || c == '+' || c == '-' || c == '.';
}

/// The value of a hexadecimal digit, -1 for any other character.
constexpr int hex_value(char c) {
  if (is_digit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// Schemes whose URLs keep "//" in front of an empty network location. Links are http and https; the others are those
/// that a browser treats alike, so that "file:///x" comes back as it went in.
constexpr std::array<std::string_view, 6> HIERARCHICAL_SCHEMES = {"file", "ftp", "http", "https", "ws", "wss"};

/// Only web URLs carry parameters; anywhere else ";" is an ordinary character of the path.
bool carries_params(std::string_view scheme) {
  return scheme.empty() || scheme == "http" || scheme == "https";
}

std::string without_ignored_characters(std::string_view url) {
  const auto first = std::find_if(url.begin(), url.end(), [](char c) { return static_cast<unsigned char>(c) > 0x20; });
  std::string cleaned;
  cleaned.reserve(url.size());
  std::copy_if(first, url.end(), std::back_inserter(cleaned),
               [](char c) { return c != '\t' && c != '\r' && c != '\n'; });
  return cleaned;
}

std::string take_scheme(std::string_view& rest) {
  const std::size_t colon = rest.find(':');
  if (colon == std::string_view::npos || colon == 0) return {};
  std::string scheme(rest.substr(0, colon));
  if (!is_letter(scheme.front()) || !std::all_of(scheme.begin(), scheme.end(), is_scheme_character)) return {};
  std::transform(scheme.begin(), scheme.end(), scheme.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  rest.remove_prefix(colon + 1);
  return scheme;
}

/// Cuts `rest` at the first `mark` at or behind `from` and gives what stood behind it; nothing when there is no mark.
std::string take_behind(std::string_view& rest, char mark, std::size_t from = 0) {
  const std::size_t at = rest.find(mark, from);
  if (at == std::string_view::npos) return {};
  std::string taken(rest.substr(at + 1));
  rest = rest.substr(0, at);
  return taken;
}

[[noreturn]] void refuse(std::string_view netloc, std::string_view reason) {
  std::string shown(netloc);
  std::replace(shown.begin(), shown.end(), '\0', '?');  // a NUL would end the message
  throw MalformedUrl("network location \"" + shown + "\": " + std::string(reason));
}

bool is_ipv6_address(std::string_view host) {
  const std::size_t percent = host.find('%');
  if (percent != std::string_view::npos) {
    const std::string_view zone = host.substr(percent + 1);
    if (zone.empty() || zone.find('%') != std::string_view::npos) return false;
    host = host.substr(0, percent);
  }
  // inet_pton reads a terminated string: a NUL inside would hide what follows it.
  if (host.size() >= INET6_ADDRSTRLEN || host.find('\0') != std::string_view::npos) return false;
  in6_addr address{};
  return inet_pton(AF_INET6, std::string(host).c_str(), &address) == 1;
}

/// RFC 3986, section 3.2.2: "v" 1*HEXDIG "." and something behind it; what that may be is left to the future.
bool is_future_literal(std::string_view host) {
  if (host.empty() || (host.front() != 'v' && host.front() != 'V')) return false;
  const std::size_t dot = host.find('.');
  if (dot == std::string_view::npos || dot < 2 || dot + 1 == host.size()) return false;
  const std::string_view version = host.substr(1, dot - 1);
  return std::all_of(version.begin(), version.end(), [](char c) { return hex_value(c) >= 0; });
}

void check_brackets(std::string_view netloc) {
  const bool opens = netloc.find('[') != std::string_view::npos;
  const bool closes = netloc.find(']') != std::string_view::npos;
  if (!opens && !closes) return;
  if (!closes) refuse(netloc, R"("[" without "]")");
  if (!opens) refuse(netloc, R"("]" without "[")");

  const std::string_view host = netloc.substr(netloc.rfind('@') + 1);  // npos + 1 is 0: the whole of it
  if (!host.starts_with('[')) refuse(netloc, "expected \"[\" at the start of the host");
  const std::size_t close = host.find(']');
  if (close == std::string_view::npos) refuse(netloc, R"("[" without "]" in the host)");
  const std::string_view behind = host.substr(close + 1);
  if (!behind.empty() && behind.front() != ':') refuse(netloc, R"(expected nothing or ":" and a port behind "]")");
  const std::string_view literal = host.substr(1, close - 1);
  if (!is_ipv6_address(literal) && !is_future_literal(literal)) {
    refuse(netloc, R"(expected an IPv6 address between "[" and "]")");
  }
}

/// Refuses a host that compatibility normalization would end early, such as one with U+FF0F for "/".
///
/// A delimiter comes out of NFKC only where a single character maps to it: no delimiter composes with a neighbour. So
/// the ASCII characters need not take part and the others may be taken in pieces, which bounds the time that
/// normalization spends on ordering a long run of combining marks.
void check_normalization(std::string_view netloc) {
  if (is_ascii(netloc)) return;
  constexpr std::size_t PIECE = 128;
  std::string foreign;
  std::copy_if(netloc.begin(), netloc.end(), std::back_inserter(foreign),
               [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
  const std::string_view text = foreign;
  for (std::size_t begin = 0; begin < text.size();) {
    std::size_t end = std::min(begin + PIECE, text.size());
    while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80) ++end;
    const std::string normalized = nfkc(text.substr(begin, end - begin));
    const std::size_t delimiter = normalized.find_first_of("/?#@:");
    if (delimiter != std::string::npos) {
      refuse(netloc, std::string("holds a character that stands for \"") + normalized[delimiter] + "\"");
    }
    begin = end;
  }
}

/// Decodes one name or value of a query: "+" and percent escapes, then UTF-8.
std::string decode(std::string_view piece) {
  std::string bytes;
  bytes.reserve(piece.size());
  for (std::size_t i = 0; i < piece.size(); ++i) {
    const char c = piece[i];
    if (c == '%' && piece.size() - i > 2) {
      const int high = hex_value(piece[i + 1]);
      const int low = hex_value(piece[i + 2]);
      if (high >= 0 && low >= 0) {
        bytes += static_cast<char>(high * 16 + low);
        i += 2;
        continue;
      }
    }
    bytes += c == '+' ? ' ' : c;
  }
  return to_valid_utf8(std::move(bytes));
}

void append_encoded(std::string& out, std::string_view text) {
  constexpr std::string_view HEX = "0123456789ABCDEF";
  for (const char c : text) {
    if (is_letter(c) || is_digit(c) || c == '_' || c == '.' || c == '-' || c == '~') {
      out += c;
    } else if (c == ' ') {
      out += '+';
    } else {
      const auto byte = static_cast<unsigned char>(c);
      out += {'%', HEX[byte >> 4U], HEX[byte & 0x0FU]};
    }
  }
}

using Parameter = std::pair<std::string, std::string>;

std::vector<Parameter> read_parameters(std::string_view query) {
  std::vector<Parameter> parameters;
  while (!query.empty()) {
    const std::size_t end = std::min(query.find('&'), query.size());
    const std::string_view piece = query.substr(0, end);
    query.remove_prefix(std::min(end + 1, query.size()));
    const std::size_t equals = piece.find('=');
    if (equals == std::string_view::npos || equals + 1 == piece.size()) continue;
    parameters.emplace_back(decode(piece.substr(0, equals)), decode(piece.substr(equals + 1)));
  }
  return parameters;
}

/// For each parameter the position of the first one with its name. Found by sorting, not in a hash table: whoever
/// writes a link could make its names collide. The hash only makes most comparisons short.
std::vector<std::size_t> find_first_of_name(const std::vector<Parameter>& parameters) {
  struct Key {
    std::size_t hash;
    std::size_t position;
  };
  const auto name = [&parameters](const Key& key) -> const std::string& { return parameters[key.position].first; };
  std::vector<Key> keys(parameters.size());
  for (std::size_t i = 0; i < keys.size(); ++i) keys[i] = {std::hash<std::string>{}(parameters[i].first), i};
  std::sort(keys.begin(), keys.end(), [&name](const Key& a, const Key& b) {
    if (a.hash != b.hash) return a.hash < b.hash;
    const int order = name(a).compare(name(b));
    return order != 0 ? order < 0 : a.position < b.position;
  });
  std::vector<std::size_t> first(keys.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const bool repeats = i > 0 && keys[i].hash == keys[i - 1].hash && name(keys[i]) == name(keys[i - 1]);
    first[keys[i].position] = repeats ? first[keys[i - 1].position] : keys[i].position;
  }
  return first;
}

}  // namespace

UrlComponents urlparse(std::string_view url) {
  const std::string cleaned = without_ignored_characters(url);
  std::string_view rest = cleaned;
  UrlComponents parts;
  parts.scheme = take_scheme(rest);
  if (rest.starts_with("//")) {
    rest.remove_prefix(2);
    const std::size_t end = std::min(rest.find_first_of("/?#"), rest.size());
    parts.netloc = rest.substr(0, end);
    rest.remove_prefix(end);
    check_brackets(parts.netloc);
    check_normalization(parts.netloc);
  }
  parts.fragment = take_behind(rest, '#');
  parts.query = take_behind(rest, '?');
  if (carries_params(parts.scheme)) parts.params = take_behind(rest, ';', rest.rfind('/') + 1);
  parts.path = rest;
  return parts;
}

std::string urlunparse(const UrlComponents& components) {
  std::string path = components.path;
  if (!components.params.empty()) path += ";" + components.params;

  std::string url;
  if (!components.scheme.empty()) url = components.scheme + ":";
  const bool is_hierarchical = std::find(HIERARCHICAL_SCHEMES.begin(), HIERARCHICAL_SCHEMES.end(), components.scheme) !=
                               HIERARCHICAL_SCHEMES.end();
  if (!components.netloc.empty()) {
    url += "//" + components.netloc;
    if (!path.empty() && path.front() != '/') url += '/';
  } else if (path.starts_with("//") || (is_hierarchical && (path.empty() || path.front() == '/'))) {
    url += "//";
  }
  url += path;
  if (!components.query.empty()) url += "?" + components.query;
  if (!components.fragment.empty()) url += "#" + components.fragment;
  return url;
}

QueryParameters parse_qs(std::string_view query) {
  std::vector<Parameter> read = read_parameters(query);
  const std::vector<std::size_t> first_of_name = find_first_of_name(read);
  QueryParameters parameters;
  std::vector<std::size_t> place(read.size());
  for (std::size_t i = 0; i < read.size(); ++i) {
    if (first_of_name[i] == i) {
      place[i] = parameters.size();
      parameters.emplace_back(std::move(read[i].first), std::vector<std::string>{});
    }
    parameters[place[first_of_name[i]]].second.push_back(std::move(read[i].second));
  }
  return parameters;
}

std::string urlencode(const std::vector<std::pair<std::string, std::string>>& pairs) {
  std::string query;
  for (const auto& [name, value] : pairs) {
    if (&name != &pairs.front().first) query += '&';
    append_encoded(query, name);
    query += '=';
    append_encoded(query, value);
  }
  return query;
}

}  // namespace quillmere::text
