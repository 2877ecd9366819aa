#pragma once

#include <string>
#include <string_view>

namespace quillmere::text {

/// Decodes the HTML character references in `text` ("Caf&eacute;" gives "Café").
///
/// Follows the HTML5 tokenizer in text context (https://html.spec.whatwg.org/multipage/parsing.html): all 2,231 named
/// references, the legacy ones also without a semicolon and by longest prefix ("&notit;" gives "¬it;"), decimal and
/// hexadecimal numbers, the Windows-1252 remapping of 128 to 159, U+FFFD for 0, surrogates and values past U+10FFFF.
/// An unknown reference stays as written. One pass: "&amp;lt;" gives "&lt;". Linear in `text`.
/// Throws nothing but std::bad_alloc.
[[nodiscard]] std::string decode_character_references(std::string_view text);

}  // namespace quillmere::text
