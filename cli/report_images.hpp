#pragma once

#include <string>

#include "cli/commands.hpp"

#include "quillmere/commerce/report.hpp"

namespace quillmere::cli {

[[nodiscard]] bool embeds_images(const Settings& settings);

/// How the page of `result`, which came from the input called `name`, is made; fetches the images when `settings` ask
/// for them, and says on standard error how many there are.
[[nodiscard]] commerce::ReportOptions report_options(const CommerceIntelligence& result, const std::string& name,
                                                     const Settings& settings);

}  // namespace quillmere::cli
