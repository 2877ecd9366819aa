#include "cli/command_line.hpp"
#include "cli/words.hpp"

namespace quillmere::cli {
namespace {

constexpr std::size_t WIDTH = 80;
constexpr std::size_t HELP_COLUMN = 26;

/// "  NAME      text", the text wrapped into its own column.
void append_entry(std::string& out, const std::string& name, std::string_view text) {
  std::string line = "  " + name;
  if (line.size() + 2 > HELP_COLUMN) {
    out += line + '\n';
    line.clear();
  }
  line.resize(HELP_COLUMN, ' ');
  for (const std::string_view word : split(text, ' ')) {
    if (line.size() + word.size() > WIDTH) {
      out += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
      line.assign(HELP_COLUMN, ' ');
    }
    line.append(word).append(" ");
  }
  out += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
}

std::string option_name(const OptionRow& option) {
  std::string name = option.letter.empty() ? std::string("    ") : "-" + std::string(option.letter) + ", ";
  name += dashed(option);
  if (!option.value.empty()) name += " " + std::string(option.value);
  return name;
}

void append_options(std::string& out, const CommandRow& command) {
  out += "\nOptions:\n";
  for (const OptionRow* option : options_of(command)) append_entry(out, option_name(*option), option->help);
}

}  // namespace

std::string help() {
  std::string out = "quillmere: " + std::string(general().summary) + "\n\nExamples:\n";
  for (const CommandRow& command : commands()) out += command.examples.substr(0, command.examples.find('\n') + 1);
  out += "\nUsage: " + synopsis(general()) + "\n\nCommands:\n";
  for (const CommandRow& command : commands()) append_entry(out, std::string(command.name), command.summary);
  append_options(out, general());
  out += "\nExit status:\n";
  for (const ExitStatusRow& row : exit_statuses()) append_entry(out, std::to_string(row.status), row.meaning);
  out += "\nMore: \"quillmere COMMAND --help\" and \"man quillmere\".\n";
  return out;
}

std::string help(const CommandRow& command) {
  std::string out = "quillmere " + std::string(command.name) + ": " + std::string(command.summary) + "\n\nExamples:\n";
  out += command.examples;
  out += "\nUsage: " + synopsis(command) + "\n\nArguments:\n";
  for (const PositionalRow& row : command.positionals) append_entry(out, std::string(row.name), row.help);
  append_options(out, command);
  return out;
}

}  // namespace quillmere::cli
