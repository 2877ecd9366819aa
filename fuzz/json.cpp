// The JSON reader: stays within any bytes, scans alike with and without vector instructions, keeps its values' promises
// to each other, and agrees with nlohmann's reader wherever the two follow the same rules.

#include "quillmere/text/json.hpp"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tests/support/json_tree.hpp"
#include <nlohmann/json.hpp>

#include "quillmere/text/json_script.hpp"
#include "quillmere/text/unicode.hpp"

namespace {

using quillmere::text::JsonDocument;
using quillmere::text::JsonKind;
using quillmere::text::JsonMember;
using quillmere::text::JsonString;
using quillmere::text::JsonValue;
using quillmere::text::json_internal::Scanning;

void require(bool holds) {
  if (!holds) std::abort();
}

void require_same(const JsonString& one, const JsonString& other) {
  require(one.raw() == other.raw() && one.has_escapes() == other.has_escapes());
  require(one == other.decoded());
}

/// Whether nlohmann's reader takes this string too: it refuses raw control characters and lone surrogates.
bool is_plain(const JsonString& text) {
  for (const char c : text.raw()) {
    if (static_cast<unsigned char>(c) < 0x20) return false;
  }
  return text.raw().find("\\ud") == std::string_view::npos && text.raw().find("\\uD") == std::string_view::npos;
}

/// Whether the value stands behind another member of the same key, whose own value nobody sees.
bool is_of_a_repeated_key(const JsonMember& member) {
  const char* const key_end = member.key.raw().data() + member.key.raw().size() + 1;
  const char* const value = member.value.raw().data();
  return std::string_view(key_end, static_cast<std::size_t>(value - key_end)).find_first_not_of(" \t\r\n:") !=
         std::string_view::npos;
}

/// Walks two readings of one text in step; whether nlohmann's reader takes all of it too, as far as can be seen.
bool compare(JsonValue one, JsonValue other) {
  require(one.kind() == other.kind() && one.raw() == other.raw() && one.offset() == other.offset());
  require(one.is_truthy() == other.is_truthy() && one.text_form() == other.text_form());
  require_same(one.string_slice(), other.string_slice());
  bool is_common = is_plain(one.string_slice());
  if (one.is_number()) {
    is_common = std::isfinite(*one.number());
    require(one.is_truthy() == (*one.number() != 0));
  }
  auto other_member = other.members().begin();
  std::size_t looked_up = 0;
  for (const JsonMember member : one.members()) {
    require_same(member.key, (*other_member).key);
    if (++looked_up <= 32) require(one.find(member.key.decoded()) == member.value);
    is_common = is_plain(member.key) && !is_of_a_repeated_key(member) && is_common;
    is_common = compare(member.value, (*other_member).value) && is_common;
    ++other_member;
  }
  require(other_member == other.members().end());
  auto other_element = other.elements().begin();
  for (const JsonValue element : one.elements()) is_common = compare(element, *other_element++) && is_common;
  require(other_element == other.elements().end());
  return is_common;
}

void read_and_compare(std::string_view text) {
  JsonDocument fastest;
  JsonDocument portable;
  const bool accepted = read(fastest, text, Scanning::fastest);
  require(accepted == read(portable, text, Scanning::portable));
  require(fastest.error().offset == portable.error().offset);
  require(fastest.error().message == portable.error().message && fastest.error().offset <= text.size());
  const bool is_common = accepted && compare(fastest.root(), portable.root());

  // nlohmann's reader takes a NUL for the end of the text, passes over a byte-order mark and knows no depth.
  if (!quillmere::text::is_valid_utf8(text) || text.find('\0') != std::string_view::npos) return;
  if (accepted) {
    const auto tree = nlohmann::ordered_json::parse(text, nullptr, false);
    require(tree.is_discarded() ? !is_common : tree == quillmere::tree_of(fastest.root()));
  } else if (!text.starts_with("\xEF\xBB\xBF") && !fastest.error().message.starts_with("nested")) {
    require(!nlohmann::json::accept(text));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  read_and_compare(text);
  const std::string_view document = quillmere::text::unwrap_json_script(text);
  require(document.empty() || (document.data() >= text.data() && document.size() <= text.size()));
  if (document.size() != text.size()) read_and_compare(document);
  return 0;
}
