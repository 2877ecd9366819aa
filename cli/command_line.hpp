#pragma once

#include <string>
#include <vector>

#include "cli/commands.hpp"

namespace quillmere::cli {

/// What a command line asks for: a command with its settings, or a text to print (help, version).
struct Invocation {
  const CommandRow* command = nullptr;  ///< null when there is only `text`
  Settings settings;
  std::string text;
};

/// Reads the arguments behind the program's name. Throws ToolError MISUNDERSTOOD, which says what was meant.
[[nodiscard]] Invocation read_command_line(const std::vector<std::string>& arguments);

/// The text of `quillmere --help` and of `quillmere COMMAND --help`: examples first, at most 80 columns.
[[nodiscard]] std::string help();
[[nodiscard]] std::string help(const CommandRow& command);

}  // namespace quillmere::cli
