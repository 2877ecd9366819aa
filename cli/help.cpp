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
  name += "--" + std::string(option.name);
  if (!option.value.empty()) name += " " + std::string(option.value);
  return name;
}

}  // namespace

std::string help() {
  std::string out = "quillmere turns visual search results into commerce records.\n\nExamples:\n";
  for (const CommandRow& command : commands()) out += command.examples.substr(0, command.examples.find('\n') + 1);
  out += "\nUsage: quillmere COMMAND [ARGUMENT]...\n\nCommands:\n";
  for (const CommandRow& command : commands()) append_entry(out, std::string(command.name), command.summary);
  out += "\nOptions:\n";
  append_entry(out, "-h, --help", "this text, or that of a command: quillmere COMMAND --help");
  append_entry(out, "    --version", "the version");
  out +=
      "\nExit status: 0 done, 1 the work failed, 2 the command line or the input cannot\n"
      "be understood, 130 interrupted.\n";
  return out;
}

std::string help(const CommandRow& command) {
  std::string out = "quillmere " + std::string(command.name) + ": " + std::string(command.summary) + "\n\nExamples:\n";
  out += command.examples;
  out += "\nUsage: quillmere " + std::string(command.name) + " " + std::string(command.usage) + "\n\nArguments:\n";
  for (const PositionalRow& row : command.positionals) append_entry(out, std::string(row.name), row.help);
  out += "\nOptions:\n";
  for (const OptionRow& option : options()) {
    if (has_option(command, option)) append_entry(out, option_name(option), option.help);
  }
  append_entry(out, "-h, --help", "this text");
  return out;
}

}  // namespace quillmere::cli
