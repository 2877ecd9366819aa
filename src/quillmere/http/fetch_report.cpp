#include "quillmere/http/fetch_report.hpp"

#include <utility>

namespace quillmere::http {

std::string_view value(FetchReason member) noexcept {
  switch (member) {
    case FetchReason::FETCHED:
      return "fetched";
    case FetchReason::EMPTY_BODY:
      return "empty_body";
    case FetchReason::NOT_HTTP:
      return "not_http";
    case FetchReason::UNAVAILABLE:
      return "unavailable";
    case FetchReason::BAD_URL:
      return "bad_url";
    case FetchReason::UNSUPPORTED_SCHEME:
      return "unsupported_scheme";
    case FetchReason::NAME_NOT_RESOLVED:
      return "name_not_resolved";
    case FetchReason::REFUSED_ADDRESS:
      return "refused_address";
    case FetchReason::REFUSED_PORT:
      return "refused_port";
    case FetchReason::CONNECTION_FAILED:
      return "connection_failed";
    case FetchReason::TLS_FAILED:
      return "tls_failed";
    case FetchReason::TIMED_OUT:
      return "timed_out";
    case FetchReason::CONNECTION_LOST:
      return "connection_lost";
    case FetchReason::PROTOCOL_ERROR:
      return "protocol_error";
    case FetchReason::BAD_ENCODING:
      return "bad_encoding";
    case FetchReason::TOO_MANY_REDIRECTS:
      return "too_many_redirects";
    case FetchReason::HEADERS_TOO_LARGE:
      return "headers_too_large";
    case FetchReason::BODY_TOO_LARGE:
      return "body_too_large";
    case FetchReason::CANCELLED:
      return "cancelled";
    case FetchReason::FAILED:
      return "failed";
  }
  return "";
}

FetchError::FetchError(FetchReport report)
    : std::runtime_error("quillmere: " + report.url + ": " + std::string(value(report.reason))),
      _report(std::move(report)) {}

}  // namespace quillmere::http
