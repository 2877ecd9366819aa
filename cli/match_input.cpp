#include "cli/match_input.hpp"

#include <algorithm>
#include <optional>

#include "cli/errors.hpp"
#include "cli/fields.hpp"

namespace quillmere::cli {
namespace {

using text::JsonDocument;
using text::JsonValue;

constexpr std::string_view WHITESPACE = " \t\r\n";

[[noreturn]] void refuse(const std::string& name, std::size_t line, const std::string& text) {
  throw ToolError(MISUNDERSTOOD, name + ":" + std::to_string(line) + ": " + text);
}

/// What a failed download or a forgotten step leaves instead of JSON.
void refuse_other_kinds(std::string_view text, const std::string& name) {
  if (text.starts_with("\x1F\x8B")) refuse(name, 1, "expected JSON, got gzip; unpack it first (gunzip)");
  text.remove_prefix(std::min(text.find_first_not_of(WHITESPACE), text.size()));
  if (text.starts_with('<')) refuse(name, 1, "expected JSON, got HTML or XML; perhaps a server's error page was saved");
}

/// The array of matches that a whole document holds; absent when it is a match itself.
std::optional<JsonValue> find_match_array(JsonValue root) {
  if (root.is_array()) return root;
  const Fields fields(root, "an array of matches or an object with \"matches\"");
  for (const std::string_view name : {"matches", "visual_matches"}) {
    const std::optional<JsonValue> value = fields.find(name);
    if (value && value->is_array()) return value;
    if (value) fields.refuse(name, "an array", *value);
  }
  if (fields.find("link") || fields.find("title")) return std::nullopt;
  std::string found = "found neither";
  if (const auto error = fields.find("error"); error && error->is_string()) {
    found += ", but \"error\": " + in_quotes(*fields.optional_text("error"));
  }
  throw FieldError("expected \"matches\" or \"visual_matches\", or the \"link\" and \"title\" of a match; " + found,
                   root.offset());
}

MatchInput read_document(JsonValue root, std::string_view text, const std::string& name) {
  MatchInput input;
  LineCounter counter(text);
  std::size_t count = 0;
  try {
    const std::optional<JsonValue> array = find_match_array(root);
    if (!array) return {{read_match(root)}, {counter.line_of(root.offset())}};
    for (const JsonValue element : array->elements()) {
      ++count;
      input.lines.push_back(counter.line_of(element.offset()));
      input.matches.push_back(read_match(element));
    }
  } catch (const FieldError& error) {
    // In a file without line breaks the line alone says nothing.
    const std::size_t line = counter.line_of(error.offset());
    const bool shares_line = count > 1 && input.lines[count - 2] == line;
    refuse(name, line, (shares_line ? "match " + std::to_string(count) + ": " : "") + error.what());
  }
  return input;
}

MatchInput read_lines(std::string_view text, const std::string& name) {
  MatchInput input;
  JsonDocument document;
  for (std::size_t line_number = 1; !text.empty(); ++line_number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.find_first_not_of(WHITESPACE) == std::string_view::npos) continue;
    const std::optional<JsonValue> value = document.read(line);
    if (!value) refuse(name, line_number, not_json(line, document.error()));
    if (value->is_object() && !value->find("link") && value->find("matches")) {
      refuse(name, line_number, "expected one match a line, got a search; \"quillmere batch\" takes one search a line");
    }
    try {
      input.matches.push_back(read_match(*value));
    } catch (const FieldError& error) {
      refuse(name, line_number, error.what());
    }
    input.lines.push_back(line_number);
  }
  return input;
}

/// Whether the first line is an object of its own with more behind it.
bool looks_like_lines(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(WHITESPACE), text.size()));
  const std::size_t end = text.find('\n');
  if (end == std::string_view::npos || text.find_first_not_of(WHITESPACE, end) == std::string_view::npos) return false;
  JsonDocument document;
  const std::optional<JsonValue> first = document.read(text.substr(0, end));
  return first && first->is_object();
}

}  // namespace

VisualMatch read_match(JsonValue value) {
  const Fields fields(value, "a match object");
  VisualMatch match;
  match.link = fields.text("link");
  match.title = fields.text("title");
  match.source = fields.optional_text("source");
  match.currency = fields.optional_text("currency");
  match.in_stock = fields.optional_boolean("in_stock");
  match.thumbnail = fields.optional_text("thumbnail");
  const std::optional<JsonValue> price = fields.find("price");
  if (price && price->is_object()) {
    const Fields parts(*price, "", "price.");
    match.price = parts.optional_text("value");
    if (auto hint = parts.optional_text("currency")) match.currency = std::move(hint);
  } else if (price && price->is_string()) {
    match.price = fields.optional_text("price");
  } else if (price) {
    fields.refuse("price", "text or an object with \"value\"", *price);
  }
  return match;
}

std::vector<VisualMatch> read_match_array(JsonValue array) {
  std::vector<VisualMatch> matches;
  for (const JsonValue element : array.elements()) {
    try {
      matches.push_back(read_match(element));
    } catch (const FieldError& error) {
      throw FieldError("match " + std::to_string(matches.size() + 1) + ": " + error.what(), error.offset());
    }
  }
  return matches;
}

MatchInput read_match_input(std::string_view text, const std::string& name) {
  if (text.find_first_not_of(WHITESPACE) == std::string_view::npos) return {};
  refuse_other_kinds(text, name);
  if (looks_like_lines(text)) return read_lines(text, name);
  JsonDocument document;
  const std::optional<JsonValue> root = document.read(text);
  if (!root) refuse(name, LineCounter(text).line_of(document.error().offset), not_json(text, document.error()));
  return read_document(*root, text, name);
}

}  // namespace quillmere::cli
