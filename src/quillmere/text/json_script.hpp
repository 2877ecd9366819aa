#pragma once

#include <string_view>

namespace quillmere::text {

/// The document inside the body of a script element: passes over one wrapper around it, an HTML comment
/// (`<!--` ... `-->`) or a CDATA section (`<![CDATA[` ... `]]>`, each mark bare, behind `//` or inside `/*` `*/`), over
/// semicolons behind the document or the wrapper, and over JSON whitespace around all of these. A wrapper that is not
/// closed, and a second one, stay. Looks at the ends of `body` only.
[[nodiscard]] std::string_view unwrap_json_script(std::string_view body) noexcept;

}  // namespace quillmere::text
