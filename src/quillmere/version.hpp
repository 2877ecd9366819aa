#pragma once

#include <string_view>

namespace quillmere {

/// The version of the library that is linked, such as "0.1.0".
[[nodiscard]] std::string_view version() noexcept;

}  // namespace quillmere
