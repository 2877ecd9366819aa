#pragma once

#include "quillmere/http/async_fetcher.hpp"

namespace quillmere::http::internal {

/// Shows `report` to the observer, if there is one. Why a page is absent never changes a result, and neither does what
/// the observer makes of it: what it throws ends here.
inline void tell(const FetchOptions& options, const FetchReport& report) noexcept {
  if (!options.observer) return;
  try {
    options.observer(report);
  } catch (...) {
  }
}

}  // namespace quillmere::http::internal
