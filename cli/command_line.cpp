#include "cli/command_line.hpp"

#include <algorithm>
#include <charconv>

#include "cli/generated.hpp"
#include "cli/words.hpp"
#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include "quillmere/version.hpp"

namespace quillmere::cli {
namespace {

constexpr const char* NO_COMMAND = "no command given; \"quillmere --help\" lists the commands";

[[noreturn]] void misunderstood(const std::string& text) {
  throw ToolError(MISUNDERSTOOD, text);
}

std::string did_you_mean(std::string_view word, std::span<const std::string_view> known) {
  const std::string_view meant = nearest(word, known);
  return meant.empty() ? "" : "; did you mean " + in_quotes(meant) + "?";
}

void check_choice(const std::string& what, const std::string& value, std::string_view choices) {
  const std::vector<std::string_view> known = split(choices, '|');
  if (known.empty() || std::ranges::find(known, value) != known.end()) return;
  misunderstood(what + ": expected " + listed(known) + ", got " + in_quotes(value) + did_you_mean(value, known));
}

std::int64_t whole_number(const OptionRow& option, const std::string& value) {
  std::int64_t number = 0;
  const char* end = value.data() + value.size();
  const auto [stop, error] = std::from_chars(value.data(), end, number);
  if (error == std::errc{} && stop == end && number >= option.least && number <= option.most) return number;
  std::string expected = "a whole number";
  if (option.least != std::numeric_limits<std::int64_t>::min()) {
    expected += " from " + std::to_string(option.least) + " to " + std::to_string(option.most);
  }
  misunderstood(dashed(option) + ": expected " + expected + ", got " + in_quotes(value));
}

[[noreturn]] void refuse_missing_value(const OptionRow& option) {
  misunderstood(dashed(option) + ": needs a value: " + dashed(option) + " " + std::string(option.value));
}

/// Puts the values of one option, as CLI11 collected them, where its row says.
void take(Settings& settings, const OptionRow& option, const std::vector<std::string>& values) {
  if (values.empty()) return;
  if (values.size() > 1 && !may_repeat(option)) {
    misunderstood(dashed(option) + ": given " + std::to_string(values.size()) + " times; give it once");
  }
  for (const std::string& value : values) {
    if (option.value.empty() && value != "true")
      misunderstood(dashed(option) + ": takes no value, got " + in_quotes(value));
    if (value.empty()) refuse_missing_value(option);
    check_choice(dashed(option), value, option.choices);
  }
  if (const auto* flag = std::get_if<bool Settings::*>(&option.target)) {
    settings.** flag = true;
  } else if (const auto* number = std::get_if<std::optional<std::int64_t> Settings::*>(&option.target)) {
    settings.** number = whole_number(option, values.front());
  } else if (const auto* text = std::get_if<std::optional<std::string> Settings::*>(&option.target)) {
    settings.** text = values.front();
  } else {
    settings.*std::get<std::vector<std::string> Settings::*>(option.target) = values;
  }
}

/// For an option of commands that was given before the command's name: where it belongs. Else empty.
std::string behind_its_command(std::string_view word) {
  for (const CommandRow& command : commands()) {
    for (const OptionRow* option : options_of(command)) {
      if (dashed(*option) != word) continue;
      return "; it stands behind its command: quillmere " + std::string(command.name) + " " + std::string(word);
    }
  }
  return "";
}

[[noreturn]] void refuse_argument(const CommandRow& command, const std::string& argument) {
  misunderstood("unexpected argument " + in_quotes(argument) + "; usage: " + synopsis(command));
}

/// What CLI11 could place nowhere: an option that the command lacks, or an argument too many.
[[noreturn]] void refuse_extra(const CommandRow& command, const std::string& extra) {
  if (extra.size() < 2 || extra.front() != '-') refuse_argument(command, extra);
  std::vector<std::string> names;
  for (const OptionRow* option : options_of(command)) names.push_back(dashed(*option));
  const std::vector<std::string_view> known(names.begin(), names.end());
  const std::string word = extra.substr(0, extra.find('='));
  std::string remedy = &command == &general() ? behind_its_command(word) : "";
  if (remedy.empty()) remedy = did_you_mean(word, known);
  if (remedy.empty()) {
    const std::string name = command.name.empty() ? "" : std::string(command.name) + " ";
    remedy = "; \"quillmere " + name + "--help\" lists the options";
  }
  misunderstood("unknown option " + in_quotes(word) + remedy);
}

/// CLI11's words for a missing value in ours; it names the option in front of a colon.
[[noreturn]] void refuse(const CommandRow& command, const CLI::ParseError& error) {
  const std::string text = error.what();
  for (const OptionRow* option : options_of(command)) {
    if (text.starts_with(dashed(*option) + ":")) refuse_missing_value(*option);
  }
  misunderstood(text);
}

Invocation read_command(const CommandRow& command, std::vector<std::string> arguments) {
  Invocation invocation{&command, {}, {}};
  CLI::App app;
  app.set_help_flag();
  app.allow_extras();
  std::vector<std::pair<const OptionRow*, CLI::Option*>> given;
  for (const OptionRow* option : options_of(command)) {
    const std::string names = (option->letter.empty() ? "" : "-" + std::string(option->letter) + ",") + dashed(*option);
    CLI::Option* added = option->value.empty() ? app.add_flag(names) : app.add_option(names)->expected(1);
    added->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)->allow_extra_args(false);
    given.emplace_back(option, added);
  }
  std::vector<CLI::Option*> positionals;
  for (const PositionalRow& row : command.positionals) {
    positionals.push_back(app.add_option(std::string(row.name))->expected(1)->allow_extra_args(false));
  }
  std::ranges::reverse(arguments);  // as CLI11 takes them
  try {
    app.parse(std::move(arguments));
  } catch (const CLI::ParseError& error) {
    refuse(command, error);
  }
  if (app.count("--help") > 0) return {nullptr, {}, &command == &general() ? help() : help(command)};
  bool is_behind_dashes = false;  // where nothing is an option
  for (const std::string& extra : app.remaining()) {
    if (is_behind_dashes) refuse_argument(command, extra);
    if (extra != "--") refuse_extra(command, extra);
    is_behind_dashes = true;
  }
  for (const auto& [row, option] : given) take(invocation.settings, *row, option->results());
  for (std::size_t i = 0; i < positionals.size(); ++i) {
    const PositionalRow& row = command.positionals[i];
    if (positionals[i]->empty()) {
      if (!row.required) continue;
      misunderstood("which operation? expected " + listed(split(row.choices, '|')) + "; usage: " + synopsis(command));
    }
    check_choice(std::string(row.name), positionals[i]->results().front(), row.choices);
    invocation.settings.*row.target = positionals[i]->results().front();
  }
  return invocation;
}

/// A command line that begins with an option: it asks for a text.
Invocation read_general(const std::vector<std::string>& arguments) {
  Invocation invocation = read_command(general(), arguments);
  const Settings& settings = invocation.settings;
  if (invocation.text.empty() && settings.version) invocation.text = "quillmere " + std::string(version()) + "\n";
  if (invocation.text.empty() && settings.generate) invocation.text = generated(*settings.generate);
  if (invocation.text.empty()) misunderstood(NO_COMMAND);
  return {nullptr, {}, std::move(invocation.text)};
}

}  // namespace

Invocation read_command_line(const std::vector<std::string>& arguments) {
  if (arguments.empty()) misunderstood(NO_COMMAND);
  const std::string& first = arguments.front();
  if (first == "help") {
    if (arguments.size() == 1) return {nullptr, {}, help()};
    return read_command_line({arguments[1], "--help"});
  }
  if (first.size() > 1 && first.front() == '-') return read_general(arguments);
  std::vector<std::string_view> known;
  for (const CommandRow& command : commands()) {
    if (command.name == first) return read_command(command, {arguments.begin() + 1, arguments.end()});
    known.push_back(command.name);
  }
  std::vector<std::string> general_options;
  for (const OptionRow* option : options_of(general())) general_options.push_back(dashed(*option));
  known.insert(known.end(), general_options.begin(), general_options.end());
  const std::string meant = did_you_mean(first, known);
  misunderstood("unknown command " + in_quotes(first) +
                (meant.empty() ? "; \"quillmere --help\" lists the commands" : meant));
}

}  // namespace quillmere::cli
