#pragma once

#include <string_view>

/// The files beside this one that the page is made of, as they were when the library was configured.
namespace quillmere::commerce::report {

extern const std::string_view PAGE_TEMPLATE;  ///< report.html, with {{names}} to be filled
extern const std::string_view STYLE;          ///< report.css
extern const std::string_view SCRIPT;         ///< report.js

}  // namespace quillmere::commerce::report
