#include "quillmere/http/async_fetcher.hpp"

#include <exception>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include <boost/asio/associated_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>
#include <curl/curl.h>

#include "quillmere/http/executor_internal.hpp"
#include "quillmere/http/observation_internal.hpp"
#include "quillmere/http/transfer_loop_internal.hpp"

namespace quillmere::http {
namespace {

using internal::Outcome;
using internal::Transfer;
using internal::TransferLoop;
using internal::TransferService;

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

// Cancels a transfer that may be long gone, as may its loop.
struct CancelTransfer {
  std::weak_ptr<TransferLoop> loop;
  std::weak_ptr<Transfer> transfer;

  void operator()(boost::asio::cancellation_type) const {
    const auto live_loop = loop.lock();
    const auto live_transfer = transfer.lock();
    if (live_loop && live_transfer) live_loop->stop(live_transfer, FetchReason::CANCELLED);
  }
};

// Begins a transfer on behalf of whoever waits for it.
struct BeginTransfer {
  std::string url;
  int timeout;
  bool allow_private_networks;
  std::string ca_file;

  template <typename Handler>
  void operator()(Handler&& handler) {
    const boost::asio::any_io_executor turn = boost::asio::get_associated_executor(handler);
    auto& context = boost::asio::query(turn, boost::asio::execution::context);
    std::shared_ptr<TransferLoop> loop;
    std::exception_ptr error;
    try {
      loop = boost::asio::use_service<TransferService>(context).loop(turn, allow_private_networks);
    } catch (const std::bad_alloc&) {
      error = std::current_exception();
    } catch (const std::exception&) {
      // No descriptor is left to wait for sockets with, to this layer or to Asio: FetchReason::FAILED.
    }
    if (!loop) {
      internal::resume_later(internal::without_strand(turn), std::forward<Handler>(handler), error, Outcome());
      return;
    }
    const auto transfer = std::make_shared<Transfer>(loop->executor(), std::move(url), timeout, std::move(ca_file));
    Transfer::Handler(std::forward<Handler>(handler)).swap(transfer->handler);
    auto slot = transfer->handler.get_cancellation_slot();
    if (slot.is_connected()) slot.emplace<CancelTransfer>(CancelTransfer{loop, transfer});
    loop->start(transfer);
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
    BeginTransfer begin{url, timeout, options.allow_private_networks, options.ca_file};
    outcome =
        co_await boost::asio::async_initiate<const boost::asio::use_awaitable_t<>, void(std::exception_ptr, Outcome)>(
            std::move(begin), boost::asio::use_awaitable);
  } else {
    outcome.report.reason = FetchReason::UNAVAILABLE;
  }
  FetchReport& report = outcome.report;
  if (report.url.empty()) report.url = std::move(url);
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
