#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Splitting, joining and querying URLs, as forgiving as the links of search results need: text that is no URL at all
/// is a path. No percent-decoding outside queries, no IDNA: the host passes through as written.
///
/// Threads  pure: call from any thread.
namespace quillmere::text {

/// The six parts of a URL, each possibly empty.
struct UrlComponents {
  std::string scheme;    ///< lower-cased
  std::string netloc;    ///< user information, host and port exactly as written
  std::string path;      ///< as written
  std::string params;    ///< of the last path segment, without its ";"
  std::string query;     ///< without the "?"
  std::string fragment;  ///< without the "#"

  friend bool operator==(const UrlComponents&, const UrlComponents&) = default;
};

/// A network location that cannot be read: unbalanced brackets, no IPv6 address or future literal in them, or
/// characters that turn into delimiters under NFKC normalization.
class MalformedUrl : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

/// Query parameters in order of first appearance, each with its values in order; no list of values is empty.
using QueryParameters = std::vector<std::pair<std::string, std::vector<std::string>>>;

/// Splits `url`. Leading control characters and spaces go, and tabs and line breaks wherever they stand. Parameters
/// are split off in http and https URLs and in those without a scheme; elsewhere ";" belongs to the path.
/// Throws MalformedUrl, whose text holds the network location and says what is wrong with it.
[[nodiscard]] UrlComponents urlparse(std::string_view url);

/// Joins the parts; what `urlparse` gave comes back as it was, but for a "?", "#" or ";" with nothing behind it.
/// Without a network location "//" still precedes a path that is empty or starts with "/" in http, https, ftp, file,
/// ws and wss URLs ("file:///x" stays, "http:/x" becomes "http:///x"), and in no other ("mailto:a@b" stays).
[[nodiscard]] std::string urlunparse(const UrlComponents& components);

/// Reads "a=1&b=2&a=3". "+" is a space; percent escapes are decoded and read as UTF-8 with U+FFFD for what is not;
/// pieces without "=" or with an empty value are dropped. Time n log n in the parameters, whatever their names.
[[nodiscard]] QueryParameters parse_qs(std::string_view query);

/// Writes the pairs as "name=value" joined by "&". ASCII letters, digits and "_.-~" stay, a space becomes "+", every
/// other byte an upper-case percent escape.
[[nodiscard]] std::string urlencode(const std::vector<std::pair<std::string, std::string>>& pairs);

}  // namespace quillmere::text
