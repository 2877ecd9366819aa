#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "cli/errors.hpp"

/// What the command line can say, as tables: the command line is read by them, and the help, the manual page and the
/// shells' completions are made from them.
namespace quillmere::cli {

/// What a command line said.
struct Settings {
  std::optional<std::string> operation;  ///< of `inspect`
  std::optional<std::string> input;      ///< absent and "-" are standard input
  std::vector<std::string> outputs;
  std::optional<std::string> format;
  std::optional<std::int64_t> max_items;
  std::optional<std::int64_t> max_workers;
  std::optional<std::int64_t> timeout;
  std::optional<std::string> pages;
  std::optional<std::string> save_pages;
  bool allow_private_networks = false;
  std::optional<std::string> progress;
  std::optional<std::string> images;
  std::optional<std::int64_t> jobs;
  bool resume = false;
  bool quiet = false;
  std::optional<std::string> generate;
  bool version = false;
  bool help = false;
};

/// Where in Settings a value goes, which also says how it is read: a flag, a whole number, a text, or texts of an
/// option that may be repeated.
using Target = std::variant<bool Settings::*, std::optional<std::int64_t> Settings::*,
                            std::optional<std::string> Settings::*, std::vector<std::string> Settings::*>;

struct OptionRow {
  std::string_view letter;    ///< "o" for -o; empty for none
  std::string_view name;      ///< without its dashes
  std::string_view value;     ///< what the help calls its value; empty for a flag
  std::string_view help;      ///< one sentence without a full stop, the default included
  std::string_view commands;  ///< the commands that have it, separated by spaces; "" stands before one, "*" anywhere
  Target target;
  std::string_view choices = {};                                  ///< of a text: the accepted ones, separated by "|"
  std::int64_t least = std::numeric_limits<std::int64_t>::min();  ///< of a number
  std::int64_t most = std::numeric_limits<std::int64_t>::max();
};

struct PositionalRow {
  std::string_view name;  ///< as the help calls it
  std::string_view help;
  std::optional<std::string> Settings::*target;
  bool required = false;
  std::string_view choices = {};
};

struct CommandRow {
  std::string_view name;
  std::string_view summary;  ///< one line
  std::string_view usage;    ///< what follows the command's name
  std::string_view examples;
  std::span<const PositionalRow> positionals;
  ExitStatus (*run)(const Settings&);
  std::string_view description = {};  ///< for the manual: paragraphs, an empty line between them
};

/// What an exit status means.
struct ExitStatusRow {
  ExitStatus status;
  std::string_view meaning;
};

[[nodiscard]] std::span<const CommandRow> commands();
/// The tool itself: what may stand where no command does. Its name is empty and it runs nothing.
[[nodiscard]] const CommandRow& general();
[[nodiscard]] std::span<const ExitStatusRow> exit_statuses();

[[nodiscard]] std::span<const OptionRow> options();
[[nodiscard]] std::vector<const OptionRow*> options_of(const CommandRow& command);
/// "--output".
[[nodiscard]] std::string dashed(const OptionRow& option);
[[nodiscard]] bool may_repeat(const OptionRow& option);
/// "quillmere enrich [INPUT] [-o FILE]... [-f FORMAT]".
[[nodiscard]] std::string synopsis(const CommandRow& command);

ExitStatus run_batch(const Settings& settings);
ExitStatus run_enrich(const Settings& settings);
ExitStatus run_inspect(const Settings& settings);
ExitStatus run_report(const Settings& settings);

}  // namespace quillmere::cli
