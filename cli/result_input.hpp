#pragma once

#include <string>
#include <string_view>

#include "quillmere/models.hpp"

namespace quillmere::cli {

/// A result document as `enrich` and `batch` write it, read back. Fields that the document lacks are absent; "items"
/// and what no record is without must be there. Throws ToolError MISUNDERSTOOD with `name`, line, item and field.
[[nodiscard]] CommerceIntelligence read_result(std::string_view text, const std::string& name);

}  // namespace quillmere::cli
