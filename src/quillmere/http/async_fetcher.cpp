#include "quillmere/http/async_fetcher.hpp"

#include <exception>
#include <string_view>
#include <utility>

#include <boost/asio/associated_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>
#include <curl/curl.h>

#include "quillmere/http/observation_internal.hpp"
#include "quillmere/http/transfer_loop_internal.hpp"

namespace quillmere::http {
namespace {

using internal::Outcome;

bool find_http_layer() noexcept {
  if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) return false;
  const curl_version_info_data* curl = curl_version_info(CURLVERSION_NOW);
  bool has_http = false;
  bool has_https = false;
  for (const char* const* protocol = curl->protocols; *protocol != nullptr; ++protocol) {
    has_http = has_http || std::string_view(*protocol) == "http";
    has_https = has_https || std::string_view(*protocol) == "https";
  }
  return has_http && has_https && (curl->features & CURL_VERSION_ASYNCHDNS) != 0;
}

// Begins a request on behalf of the coroutine that waits for it.
struct BeginRequest {
  std::string url;
  int timeout;
  FetchOptions options;

  template <typename Handler>
  void operator()(Handler&& handler) {
    boost::asio::any_io_executor turn = boost::asio::get_associated_executor(handler);
    internal::begin_request(std::move(turn), std::move(url), timeout, options, std::forward<Handler>(handler));
  }
};

}  // namespace

bool AsyncFetcher::is_available() noexcept {
  static const bool is_there = find_http_layer();
  return is_there;
}

boost::asio::awaitable<std::optional<Response>> AsyncFetcher::get(std::string url, int timeout, FetchOptions options) {
  Outcome outcome;
  if (is_available()) {
    BeginRequest begin{std::move(url), timeout, options};
    outcome =
        co_await boost::asio::async_initiate<const boost::asio::use_awaitable_t<>, void(std::exception_ptr, Outcome)>(
            std::move(begin), boost::asio::use_awaitable);
  } else {
    outcome.report.url = std::move(url);
    outcome.report.reason = FetchReason::UNAVAILABLE;
  }
  FetchReport& report = outcome.report;
  internal::tell(options, report);
  if (report.reason == FetchReason::CANCELLED) {
    throw boost::system::system_error(boost::asio::error::operation_aborted, "quillmere: fetch");
  }
  if (report.reason != FetchReason::FETCHED && report.reason != FetchReason::EMPTY_BODY) {
    throw FetchError(std::move(report));
  }
  Response response;
  response.status = report.http_status.value_or(0);
  response.body.swap(outcome.body);
  co_return response;
}

}  // namespace quillmere::http
