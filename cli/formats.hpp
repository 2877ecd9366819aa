#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "quillmere/commerce/report.hpp"
#include "quillmere/models.hpp"

/// The forms in which a result can be written.
namespace quillmere::cli {

struct FormatRow {
  std::string_view name;    ///< as -f takes it
  std::string_view ending;  ///< of files that hold it
  std::string (*text)(const CommerceIntelligence& result, const commerce::ReportOptions& report);
};

[[nodiscard]] std::span<const FormatRow> formats();
inline constexpr std::string_view HTML_FORMAT = "html";  ///< the one whose text depends on the report's options

/// The row whose ending `path` has, in either case; null when none has.
[[nodiscard]] const FormatRow* format_of(std::string_view path);

/// One place that a result goes to.
struct Destination {
  std::optional<std::string> path;  ///< absent for standard output
  const FormatRow* format = nullptr;
};

/// The destination that `output` ("-" or absent: standard output) and `format` (a name, when one was given) ask for.
/// Throws ToolError MISUNDERSTOOD when the ending says nothing and no format was given.
[[nodiscard]] Destination destination(const std::optional<std::string>& output,
                                      const std::optional<std::string>& format);

}  // namespace quillmere::cli
