#pragma once

#include <string_view>

#include "quillmere/api.hpp"

namespace quillmere {

/// The version of the library that is linked, such as "0.1.0".
[[nodiscard]] QUILLMERE_API std::string_view version() noexcept;

}  // namespace quillmere
