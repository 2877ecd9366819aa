#include <unistd.h>

#include "cli/commands.hpp"
#include "cli/errors.hpp"
#include "cli/formats.hpp"
#include "cli/line_reader.hpp"
#include "cli/output.hpp"
#include "cli/report_images.hpp"
#include "cli/result_input.hpp"

namespace quillmere::cli {
namespace {

/// A file that is named for another format would hold what its name does not say.
void expect_html_name(const std::string& path) {
  const FormatRow* named = format_of(path);
  if (named == nullptr || named->name == HTML_FORMAT) return;
  throw ToolError(MISUNDERSTOOD, "--output: expected a file that ends in .html, got " + in_quotes(path) +
                                     "; \"quillmere enrich\" writes " + std::string(named->name));
}

}  // namespace

ExitStatus run_report(const Settings& settings) {
  if (settings.outputs.size() > 1) {
    throw ToolError(MISUNDERSTOOD,
                    "--output: given " + std::to_string(settings.outputs.size()) + " times; give it once");
  }
  const bool to_file = !settings.outputs.empty() && settings.outputs.front() != "-";
  if (to_file) {
    expect_html_name(settings.outputs.front());
    expect_not_read("--output", settings.outputs.front(), settings.input);
    expect_writable(settings.outputs.front());
  }
  const InputFile file(settings.input);
  const CommerceIntelligence result = read_result(read_whole(file), file.name());
  const std::string page = commerce::commerce_to_html(result, report_options(result, file.name(), settings));
  if (to_file) {
    write_file(settings.outputs.front(), page);
  } else {
    write_all(STDOUT_FILENO, page, "standard output");
  }
  return DONE;
}

}  // namespace quillmere::cli
