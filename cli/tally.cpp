#include "cli/tally.hpp"

#include <cstdio>

namespace quillmere::cli {
namespace {

using http::FetchReason;

struct ReasonRow {
  FetchReason reason;
  std::string_view one;
  std::string_view many;
};

/// Rows of one text are counted together.
constexpr auto REASONS = std::to_array<ReasonRow>({
    {FetchReason::TIMED_OUT, "timed out", "timed out"},
    {FetchReason::REFUSED_ADDRESS, "refused address", "refused addresses"},
    {FetchReason::REFUSED_PORT, "refused port", "refused ports"},
    {FetchReason::BODY_TOO_LARGE, "too large", "too large"},
    {FetchReason::HEADERS_TOO_LARGE, "too large", "too large"},
    {FetchReason::EMPTY_BODY, "empty", "empty"},
    {FetchReason::NAME_NOT_RESOLVED, "unknown host", "unknown hosts"},
    {FetchReason::CONNECTION_FAILED, "unreachable", "unreachable"},
    {FetchReason::CONNECTION_LOST, "broken off", "broken off"},
    {FetchReason::TLS_FAILED, "untrusted connection", "untrusted connections"},
    {FetchReason::PROTOCOL_ERROR, "not HTTP", "not HTTP"},
    {FetchReason::BAD_ENCODING, "badly encoded", "badly encoded"},
    {FetchReason::TOO_MANY_REDIRECTS, "redirected too often", "redirected too often"},
    {FetchReason::NOT_HTTP, "no web address", "no web addresses"},
    {FetchReason::BAD_URL, "no web address", "no web addresses"},
    {FetchReason::UNSUPPORTED_SCHEME, "no web address", "no web addresses"},
    {FetchReason::UNAVAILABLE, "without HTTP support", "without HTTP support"},
    {FetchReason::CANCELLED, "cancelled", "cancelled"},
    {FetchReason::FAILED, "failed", "failed"},
});

}  // namespace

std::string counted(std::uint64_t count, std::string_view one, std::string_view many) {
  return std::to_string(count) + " " + std::string(count == 1 ? one : many);
}

void PageTally::add(const PageTally& other) {
  for (std::size_t i = 0; i < _counts.size(); ++i) _counts[i] += other._counts[i];
  _missing += other._missing;
}

std::string PageTally::reasons() const {
  std::string reasons;
  const auto append = [&](const std::string& piece) { reasons += (reasons.empty() ? "" : ", ") + piece; };
  for (std::size_t i = 0; i < REASONS.size();) {
    const ReasonRow& row = REASONS[i];
    std::uint64_t count = 0;
    for (; i < REASONS.size() && REASONS[i].one == row.one; ++i) {
      count += _counts[static_cast<std::size_t>(REASONS[i].reason)];
    }
    if (count > 0) append(counted(count, row.one, row.many));
  }
  if (_missing > 0) append(counted(_missing, "not given", "not given"));
  return reasons;
}

std::string PageTally::text() const {
  const std::string missing = reasons();
  return counted(fetched(), "page", "pages") + (missing.empty() ? "" : " (" + missing + ")");
}

std::string ClosingSummary::text(double seconds) const {
  std::array<char, 32> time{};
  std::snprintf(time.data(), time.size(), "%.1f s", seconds);
  return work + ", " + pages.text() + ", " + std::to_string(priced) + " priced, " + time.data();
}

}  // namespace quillmere::cli
