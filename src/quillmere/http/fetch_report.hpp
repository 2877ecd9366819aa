#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "quillmere/api.hpp"

namespace quillmere::http {

/// What became of one page. Every value but FETCHED says why its text is absent.
enum class FetchReason {
  FETCHED,             ///< a response with a body, whatever its status
  EMPTY_BODY,          ///< a response without a body
  NOT_HTTP,            ///< empty text, or one that does not begin with "http": never handed to the HTTP layer
  UNAVAILABLE,         ///< this build or this machine has no HTTP layer
  BAD_URL,             ///< begins with "http" but is no absolute URL or too long, or a redirect leads to a bad one
  UNSUPPORTED_SCHEME,  ///< neither http nor https, as given or by redirect
  NAME_NOT_RESOLVED,   ///< the host has no address (silent name servers end in TIMED_OUT)
  REFUSED_ADDRESS,     ///< every address of the host is one that must not be contacted
  REFUSED_PORT,        ///< the port belongs to another protocol
  CONNECTION_FAILED,   ///< nobody listens, or no route leads there
  TLS_FAILED,          ///< handshake failed, or the certificate is not to be trusted for this host
  TIMED_OUT,           ///< the time limit passed first
  CONNECTION_LOST,     ///< reset or closed before the response was whole
  PROTOCOL_ERROR,      ///< the answer is not HTTP
  BAD_ENCODING,        ///< the body does not decode as its Content-Encoding says, or is encoded more than once
  TOO_MANY_REDIRECTS,  ///< more than MAX_REDIRECTS
  HEADERS_TOO_LARGE,   ///< more than MAX_HEADER_BYTES, or more than libcurl takes over all redirects
  BODY_TOO_LARGE,      ///< more than MAX_BODY_BYTES
  CANCELLED,           ///< the caller cancelled the fetch
  FAILED,              ///< anything else, such as no descriptor left in this process
};

/// The member's name in lower case: "fetched", "timed_out".
[[nodiscard]] QUILLMERE_API std::string_view value(FetchReason member) noexcept;

/// How one fetch went, for those who want to know: nothing in it decides anything.
struct FetchReport {
  std::string url;                           ///< as it was given
  FetchReason reason = FetchReason::FAILED;  ///< what became of it
  std::optional<int> http_status;            ///< of the last response whose status line arrived
  std::uint64_t bytes = 0;                   ///< of body received, decoded; also of one that was then given up
  double milliseconds = 0;                   ///< from the request to its end, waiting for a slot not counted
  int redirects = 0;                         ///< redirects followed
};

/// A page that could not be had.
class QUILLMERE_API FetchError : public std::runtime_error {
 public:
  /// The message is "quillmere: <url>: <reason>".
  explicit FetchError(FetchReport report);

  /// How the fetch went.
  [[nodiscard]] const FetchReport& report() const noexcept { return _report; }

 private:
  FetchReport _report;
};

}  // namespace quillmere::http
