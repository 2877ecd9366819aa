#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "quillmere/http/fetch_report.hpp"

namespace quillmere::cli {

/// What became of the pages, counted by reason, for the closing summary.
class PageTally {
 public:
  void count(http::FetchReason reason) { ++_counts[static_cast<std::size_t>(reason)]; }
  /// A page that was given, or was not among those given.
  void count_given(bool present) {
    ++(present ? _counts[static_cast<std::size_t>(http::FetchReason::FETCHED)] : _missing);
  }
  void add(const PageTally& other);

  /// "3 timed out, 4 refused addresses": why what was asked for was not had. Empty when all was.
  [[nodiscard]] std::string reasons() const;
  [[nodiscard]] std::uint64_t fetched() const noexcept {
    return _counts[static_cast<std::size_t>(http::FetchReason::FETCHED)];
  }

  /// "49 pages (3 timed out, 4 refused addresses, 1 too large)": the pages that were had, and why others were not.
  [[nodiscard]] std::string text() const;

 private:
  std::array<std::uint64_t, static_cast<std::size_t>(http::FetchReason::FAILED) + 1> _counts{};
  std::uint64_t _missing = 0;
};

/// What a run comes to: the line on standard error that ends it.
struct ClosingSummary {
  std::string work;  ///< "57 matches", "3 searches (1 failed), 57 matches"
  PageTally pages;
  std::uint64_t priced = 0;

  /// "57 matches, 49 pages (1 too large), 31 priced, 4.2 s".
  [[nodiscard]] std::string text(double seconds) const;
};

/// "1 page", "2 pages".
[[nodiscard]] std::string counted(std::uint64_t count, std::string_view one, std::string_view many);

}  // namespace quillmere::cli
