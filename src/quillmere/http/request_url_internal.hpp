#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillmere::http::internal {

/// `url` as it can stand in a request: an absolute URL in ASCII. As browsers do, tabs and line ends within it and white
/// space behind it are dropped, other characters beyond printable ASCII percent-encoded, a host beyond ASCII mapped by
/// UTS #46. Absent when that gives no URL ("httpbin", "http://", a NUL). Throws nothing but std::bad_alloc.
[[nodiscard]] std::optional<std::string> request_url(std::string_view url);

}  // namespace quillmere::http::internal
