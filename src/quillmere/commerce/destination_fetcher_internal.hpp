#pragma once

#include <optional>

namespace quillmere::commerce::internal {

/// The number of requests in flight: `max_workers` when it is given and not 0, else the smaller of 32 and four per
/// logical processor. `processors` is what the system reports, 0 when it reports nothing and four are assumed.
[[nodiscard]] int concurrency_of(std::optional<int> max_workers, unsigned processors) noexcept;

}  // namespace quillmere::commerce::internal
