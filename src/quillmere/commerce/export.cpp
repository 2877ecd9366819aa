#include "quillmere/commerce/export.hpp"

#include <array>
#include <cmath>
#include <optional>
#include <string_view>

#include "quillmere/files/atomic_file.hpp"
#include "quillmere/text/number.hpp"
#include "quillmere/text/unicode.hpp"

namespace quillmere::commerce {
namespace {

using Match = EnrichedCommerceMatch;

std::string text_or_empty(const std::optional<std::string>& text) {
  return text.value_or("");
}

template <class Enumeration>
std::string text_or_empty(const std::optional<Enumeration>& member) {
  return member ? std::string(value(*member)) : std::string();
}

std::string amount(const Match& match) {
  if (!match.price || !std::isfinite(match.price->amount)) return {};
  return text::shortest_decimal(match.price->amount);
}

struct Column {
  std::string_view header;
  std::string (*cell)(const Match&);
};

constexpr std::array<Column, 15> COLUMNS = {{
    {"Match Score", [](const Match& match) { return std::to_string(match.match_score) + "%"; }},
    {"Relevance", [](const Match& match) { return text_or_empty(match.relevance); }},
    {"Page Type", [](const Match& match) { return std::string(value(match.page_type)); }},
    {"Brand", [](const Match& match) { return text_or_empty(match.brand); }},
    {"SKU", [](const Match& match) { return text_or_empty(match.sku); }},
    {"Condition", [](const Match& match) { return text_or_empty(match.condition); }},
    {"Title", [](const Match& match) { return match.title; }},
    {"Price Amount", amount},
    {"Currency", [](const Match& match) { return match.price ? match.price->currency : std::string(); }},
    {"Stock Status", [](const Match& match) { return text_or_empty(match.stock_status); }},
    {"Merchant Name", [](const Match& match) { return text_or_empty(match.merchant_name); }},
    {"Merchant Category", [](const Match& match) { return text_or_empty(match.merchant_category); }},
    {"Direct URL", [](const Match& match) { return match.direct_url; }},
    {"Original URL", [](const Match& match) { return match.original_url; }},
    {"Primary Image URL", [](const Match& match) { return text_or_empty(match.primary_image_url); }},
}};

void append_cell(std::string& out, std::string_view cell) {
  if (cell.find_first_of(",\"\r\n") == std::string_view::npos) {
    out += cell;
    return;
  }
  out += '"';
  for (const char c : cell) {
    if (c == '"') out += '"';
    out += c;
  }
  out += '"';
}

/// `cell_of` gives the cell of a column.
template <class CellOf>
void append_row(std::string& out, CellOf cell_of) {
  for (const Column& column : COLUMNS) {
    if (&column != COLUMNS.data()) out += ',';
    append_cell(out, cell_of(column));
  }
  out += "\r\n";
}

}  // namespace

std::string commerce_to_csv(const CommerceIntelligence& commerce) {
  std::string csv;
  append_row(csv, [](const Column& column) { return column.header; });
  for (const Match& match : commerce.items) {
    append_row(csv, [&match](const Column& column) { return text::to_valid_utf8(column.cell(match)); });
  }
  return csv;
}

std::filesystem::path export_commerce_to_csv(const CommerceIntelligence& commerce,
                                             const std::filesystem::path& output_path) {
  return files::write_file(output_path, commerce_to_csv(commerce));
}

std::filesystem::path export_commerce_to_json(const CommerceIntelligence& commerce,
                                              const std::filesystem::path& output_path) {
  return files::write_file(output_path, commerce.model_dump_json(2, true));
}

}  // namespace quillmere::commerce
