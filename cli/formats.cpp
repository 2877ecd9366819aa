#include "cli/formats.hpp"

#include <algorithm>
#include <array>
#include <vector>

#include "cli/errors.hpp"
#include "cli/words.hpp"

#include "quillmere/commerce/export.hpp"
#include "quillmere/text/unicode.hpp"

namespace quillmere::cli {
namespace {

std::string json_text(const CommerceIntelligence& result, const commerce::ReportOptions&) {
  return result.model_dump_json(2, true);
}

/// One item a line, in the form that the JSON export gives it.
std::string jsonl_text(const CommerceIntelligence& result, const commerce::ReportOptions&) {
  std::string lines;
  for (const EnrichedCommerceMatch& item : result.items) lines += model_dump_json(item, std::nullopt, true) + '\n';
  return lines;
}

std::string csv_text(const CommerceIntelligence& result, const commerce::ReportOptions&) {
  return commerce::commerce_to_csv(result);
}

constexpr auto FORMATS = std::to_array<FormatRow>({
    {"json", ".json", json_text},
    {"csv", ".csv", csv_text},
    {"jsonl", ".jsonl", jsonl_text},
    {HTML_FORMAT, ".html", commerce::commerce_to_html},
});

}  // namespace

std::span<const FormatRow> formats() {
  return FORMATS;
}

const FormatRow* format_of(std::string_view path) {
  const std::string lower = text::to_lower(path);
  const auto* row = std::ranges::find_if(FORMATS, [&](const FormatRow& r) { return lower.ends_with(r.ending); });
  return row == FORMATS.end() ? nullptr : row;
}

Destination destination(const std::optional<std::string>& output, const std::optional<std::string>& format) {
  Destination result{output, &FORMATS.front()};
  if (output == "-") result.path.reset();
  if (format) {
    result.format = std::ranges::find(FORMATS, *format, &FormatRow::name);
    return result;
  }
  if (!result.path) return result;
  result.format = format_of(*result.path);
  if (result.format != nullptr) return result;
  std::vector<std::string_view> endings;
  std::vector<std::string_view> names;
  for (const FormatRow& row : FORMATS) {
    endings.push_back(row.ending);
    names.push_back(row.name);
  }
  throw ToolError(MISUNDERSTOOD, "--output: expected a file that ends in " + listed(endings) + ", got " +
                                     in_quotes(*result.path) + "; or say -f " + listed(names));
}

}  // namespace quillmere::cli
