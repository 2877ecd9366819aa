#pragma once

#include <array>
#include <string>
#include <string_view>

#include "quillmere/api.hpp"

/// From the link that a search result shows to the page behind it.
namespace quillmere::commerce {

/// Query parameters that say where a visitor came from and nothing about the page; compared whole, in lower case.
inline constexpr std::array<std::string_view, 12> TRACKING_PARAMS = {
    "fbclid",       "gclid",       "msclkid",    "sa",         "source",   "usg",
    "utm_campaign", "utm_content", "utm_medium", "utm_source", "utm_term", "ved",
};

/// Marks the hosts of the search engine whose result links lead through its "/url" redirect.
inline constexpr std::string_view REDIRECT_HOST_MARKER = "google.";

/// Cleans links and finds their domains.
///
/// Text     UTF-8, as in text/url.hpp.
/// Threads  pure: call from any thread.
class QUILLMERE_API URLUnwrapper {
 public:
  /// The clean destination of `url`; the empty text gives the empty text.
  ///
  /// A redirect (a host that holds REDIRECT_HOST_MARKER as written, and the path "/url") gives way to its parameter
  /// "q", else "url"; one level only, and a redirect with neither stays. Then tracking parameters and text fragments
  /// (":~:text=...") go. A query is always written anew: parameters without a value vanish, repeated names stand
  /// together, escapes take one form.
  ///
  /// "https://www.google.com/url?q=https://shop.example/p?id%3D7%26gclid%3Dx&sa=t" gives
  /// "https://shop.example/p?id=7".
  ///
  /// Throws text::MalformedUrl when the network location of `url`, or of its redirect's target, cannot be read. Any
  /// other text is a path, and comes back.
  [[nodiscard]] static std::string unwrap(std::string_view url);

  /// The network location of `url` in lower case without one leading "www."; port and user information stay. No
  /// redirect is followed. The empty text when `url` has no network location ("shop.example/x" has none).
  /// "HTTPS://WWW.Shop.Example:8443/x" gives "shop.example:8443".
  ///
  /// Throws text::MalformedUrl when the network location cannot be read.
  [[nodiscard]] static std::string extract_domain(std::string_view url);
};

}  // namespace quillmere::commerce
