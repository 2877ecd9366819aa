#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Bytes as they can stand in a page.
namespace quillmere::commerce::report {

[[nodiscard]] std::string base64(std::string_view bytes);

/// The source of a Content-Security-Policy that allows `text` as the content of an element: "'sha256-...'".
[[nodiscard]] std::string policy_hash(std::string_view text);

/// The media type of an image of pixels, by its first bytes: PNG, JPEG, GIF, WebP or AVIF. Absent for anything else.
[[nodiscard]] std::optional<std::string_view> raster_type(std::string_view bytes);

}  // namespace quillmere::commerce::report
