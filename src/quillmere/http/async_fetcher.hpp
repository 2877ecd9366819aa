#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include <boost/asio/awaitable.hpp>

#include "quillmere/api.hpp"
#include "quillmere/http/fetch_report.hpp"

/// Asynchronous HTTP GET with limits on everything that a server decides.
///
/// Requests  GET over HTTP/1.1 or, where TLS offers it, HTTP/2; browser-like Accept and Accept-Language; a user agent
///           that names this library and its version; gzip, deflate, br or zstd, one of them, as far as the linked
///           libcurl knows them.
///           No cookies, no credentials: those that a URL or a redirect carries are not sent.
/// Redirects followed, http and https only, at most MAX_REDIRECTS.
/// TLS       certificate and host name are verified against the system's authorities.
/// Addresses no connection is made to an address that is not public (address_guard.hpp) unless the caller allows it.
///           The judgement falls on the address of the very socket that connects: for every redirect, every address of
///           a name, however it is spelled. A refused address does not stop the next one of the same name.
/// Settings  none is taken from the environment: no proxy, no .netrc. (The C library's resolver and OpenSSL's own
///           configuration file keep their variables, RES_OPTIONS and OPENSSL_CONF among them.)
namespace quillmere::http {

/// Of one request.
inline constexpr int MAX_REDIRECTS = 20;
/// Of a URL as it is asked for, percent-encoded.
inline constexpr std::size_t MAX_URL_BYTES = std::size_t{256} << 10;
/// Of one response's body, decoded.
inline constexpr std::size_t MAX_BODY_BYTES = std::size_t{16} << 20;
/// Of one response's headers, status line and trailers included.
inline constexpr std::size_t MAX_HEADER_BYTES = std::size_t{256} << 10;

/// What a caller may decide about a fetch.
struct FetchOptions {
  // Declared so that this is no aggregate: g++ 12 destroys an aggregate twice that is made within a co_await
  // expression.
  FetchOptions() = default;

  /// Lets pages be fetched from loopback, private, link-local and other addresses that are not public.
  bool allow_private_networks = false;

  /// Sees how each fetch ended, once per fetch, on the executor of the coroutine that fetches. It cannot change a
  /// result: what it throws is dropped. Calls from one `fetch_many` never overlap.
  std::function<void(const FetchReport&)> observer;

  /// A PEM file of certificate authorities to trust instead of the system's; empty is the system's.
  std::string ca_file;
};

/// A response that arrived whole, whatever its status.
struct Response {
  int status = 0;    ///< of the last response
  std::string body;  ///< decoded (Content-Encoding), otherwise as received

  /// Whether there is no body.
  [[nodiscard]] bool empty() const noexcept { return body.empty(); }
};

/// The HTTP layer: one operation, no object to make or to close.
///
/// Connections are kept and reused within one execution context (io_context, thread_pool) and closed with it; two
/// contexts share nothing. Destroying a context drops its fetches.
/// Threads: any; the context may be run by several. Nothing blocks a thread that runs it, name resolution included.
class QUILLMERE_API AsyncFetcher {
 public:
  /// Whether pages can be fetched at all: the linked libcurl speaks http and https and resolves names without
  /// blocking. Fixed for the life of the process.
  [[nodiscard]] static bool is_available() noexcept;

  /// Fetches `url`, an absolute http or https URL; characters that a URL may not hold are percent-encoded, a host
  /// beyond ASCII is mapped as browsers do.
  ///
  /// `timeout` is the request's time limit in seconds, redirects included; 0 or less leaves it without one. Whatever
  /// the server does, the operation ends `timeout` + 1 seconds after it began. Cancellation (terminal, through the
  /// coroutine's slot) frees what the request holds at once; then, as when it was cancelled before,
  /// boost::system::system_error(operation_aborted) is thrown. Every other failure is a FetchError.
  ///
  ///     std::optional<Response> page = co_await AsyncFetcher::get("https://shop.test/a", 5);
  static boost::asio::awaitable<std::optional<Response>> get(std::string url, int timeout, FetchOptions options = {});
};

}  // namespace quillmere::http
