#pragma once

#include <string>

namespace quillmere {

/// Names the rows of a parameterised test after their `name` fields: the last argument of INSTANTIATE_TEST_SUITE_P.
inline constexpr auto row_name = [](const auto& info) { return std::string(info.param.name); };

}  // namespace quillmere
