#include <algorithm>

#include "cli/commands.hpp"
#include "cli/generated.hpp"
#include "cli/words.hpp"

#include "quillmere/version.hpp"

namespace quillmere::cli {
namespace {

/// `text` as roff reads it: hyphens that can be copied into a shell, and no line that begins like a request.
std::string roff(std::string_view text) {
  std::string out;
  bool at_line_start = true;
  for (const char letter : text) {
    if (at_line_start && (letter == '.' || letter == '\'')) out += "\\&";
    if (letter == '\\') {
      out += "\\e";
    } else if (letter == '-') {
      out += "\\-";
    } else if (letter == '\'') {
      out += "\\(aq";
    } else {
      out += letter;
    }
    at_line_start = letter == '\n';
  }
  return out;
}

std::string bold(std::string_view text) {
  return "\\fB" + roff(text) + "\\fR";
}

std::string italic(std::string_view text) {
  return "\\fI" + roff(text) + "\\fR";
}

/// `text` in short lines of source, each sentence from a line's start, as roff likes it.
std::string filled(std::string_view text) {
  constexpr std::size_t WIDTH = 72;
  std::string out;
  std::string line;
  for (const std::string_view word : split(text, ' ')) {
    if (!line.empty() && (line.size() + word.size() > WIDTH || line.back() == '.')) {
      out += roff(line) + "\n";
      line.clear();
    }
    line.append(line.empty() ? "" : " ").append(word);
  }
  return out + roff(line) + "\n";
}

void append_paragraphs(std::string& out, std::string_view text) {
  constexpr std::string_view BREAK = "\n\n";
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(BREAK), text.size());
    out += filled(text.substr(0, end));
    text.remove_prefix(std::min(end + BREAK.size(), text.size()));
    if (!text.empty()) out += ".PP\n";
  }
}

void append_entry(std::string& out, const std::string& term, std::string_view text) {
  out += ".TP\n" + term + "\n" + filled(text);
}

void append_options(std::string& out, const CommandRow& command) {
  for (const OptionRow* option : options_of(command)) {
    if (option->commands == "*" && &command != &general()) continue;  // told once, for all of them
    std::string term = option->letter.empty() ? "" : bold("-" + std::string(option->letter)) + ", ";
    term += bold(dashed(*option));
    if (!option->value.empty()) term += " " + italic(option->value);
    append_entry(out, term, option->help);
  }
}

void append_examples(std::string& out, std::string_view examples) {
  out += ".PP\n.nf\n";
  for (const std::string_view line : split(examples, '\n')) out += ".RS\n" + roff(line.substr(2)) + "\n.RE\n";
  out += ".fi\n";
}

/// The synopsis with the command in bold and what its user puts in as it is.
std::string synopsis_line(const CommandRow& command) {
  const std::string name = command.name.empty() ? "quillmere" : "quillmere " + std::string(command.name);
  return bold(name) + " " + roff(command.usage) + "\n";
}

void append_command(std::string& out, const CommandRow& command) {
  out += ".SS " + roff(command.name) + "\n" + synopsis_line(command) + ".PP\n";
  append_paragraphs(out, command.description);
  for (const PositionalRow& row : command.positionals) append_entry(out, italic(row.name), row.help);
  append_options(out, command);
  append_examples(out, command.examples);
}

}  // namespace

std::string manual_page() {
  std::string out =
      ".TH QUILLMERE 1 " QUILLMERE_RELEASE_DATE " \"quillmere " + std::string(version()) + "\" \"User Commands\"\n";
  out += ".nh\n.ad l\n.SH NAME\nquillmere \\- " + roff(general().summary) + "\n.SH SYNOPSIS\n";
  for (const CommandRow& command : commands()) out += synopsis_line(command) + ".br\n";
  out += bold("quillmere") + " [OPTION]\n.SH DESCRIPTION\n";
  append_paragraphs(out, general().description);
  out += ".SH OPTIONS\n";
  append_options(out, general());
  out += ".SH COMMANDS\n";
  for (const CommandRow& command : commands()) append_command(out, command);
  out += ".SH EXIT STATUS\n";
  for (const ExitStatusRow& row : exit_statuses()) append_entry(out, std::to_string(row.status), row.meaning);
  out += ".SH SEE ALSO\n.BR curl (1),\n.BR jq (1)\n";
  return out;
}

}  // namespace quillmere::cli
