#include <unistd.h>

#include "cli/commands.hpp"
#include "cli/line_reader.hpp"
#include "cli/output.hpp"
#include "cli/report_images.hpp"
#include "cli/result_input.hpp"

namespace quillmere::cli {

ExitStatus run_report(const Settings& settings) {
  if (settings.outputs.size() > 1) {
    throw ToolError(MISUNDERSTOOD,
                    "--output: given " + std::to_string(settings.outputs.size()) + " times; give it once");
  }
  const bool to_file = !settings.outputs.empty() && settings.outputs.front() != "-";
  if (to_file) expect_writable(settings.outputs.front());
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
