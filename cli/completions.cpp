#include <algorithm>
#include <array>

#include "cli/commands.hpp"
#include "cli/generated.hpp"
#include "cli/words.hpp"

namespace quillmere::cli {
namespace {

bool takes_file(const OptionRow& option) {
  return option.value == "FILE";
}

/// The choices of an option or an argument as shells list words.
std::string spaced(std::string_view choices) {
  std::string words(choices);
  std::ranges::replace(words, '|', ' ');
  return words;
}

/// `text` as one word in single quotes of a POSIX shell.
std::string quoted(std::string_view text) {
  std::string out = "'";
  for (const char letter : text) out += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
  return out + "'";
}

/// "-o|--output".
std::string spellings(const OptionRow& option) {
  return (option.letter.empty() ? "" : "-" + std::string(option.letter) + "|") + dashed(option);
}

// bash

/// What may stand first behind the command, when it is one of some words; for the tool itself its commands.
std::string first_words(const CommandRow& command) {
  std::string words;
  if (&command == &general()) {
    for (const CommandRow& row : commands()) words += (words.empty() ? "" : " ") + std::string(row.name);
  } else if (!command.positionals.empty()) {
    words = spaced(command.positionals.front().choices);
  }
  return words;
}

/// The branch of one command: what may follow the word before the cursor, and the command's options.
std::string bash_branch(const CommandRow& command) {
  std::string names;
  std::string out = "    " + quoted(command.name) + ")\n      case $before in\n";
  for (const OptionRow* option : options_of(command)) {
    names += (names.empty() ? "" : " ") + dashed(*option);
    if (option->value.empty()) continue;
    out += "        " + spellings(*option) + ") ";
    out += takes_file(*option) ? "return" : "words=" + quoted(spaced(option->choices)) + " only_words=1";
    out += " ;;\n";
  }
  const std::string first = first_words(command);
  const std::string place = &command == &general() ? "1" : "2";
  if (!first.empty()) out += "        *) ((place == " + place + ")) && words=" + quoted(first) + " ;;\n";
  return out + "      esac\n      options=" + quoted(names) + "\n      ;;\n";
}

constexpr std::string_view BASH_HEAD = R"(# bash completion for quillmere

_quillmere() {
  local place=$COMP_CWORD word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  local command=${COMP_WORDS[1]} options='' words='' only_words=''
  COMPREPLY=()
  # "--format=json" comes as three words.
  if [[ $word == = ]]; then
    word=''
  elif [[ $before == = ]]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  [[ $place != 1 && $command != -* ]] || command=''
  case $command in
)";

constexpr std::string_view BASH_TAIL = R"(  esac
  [[ $only_words || $word != -* ]] || words=$options
  if [[ $words || $only_words ]]; then
    compopt +o default 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
  fi
}

complete -o default -F _quillmere quillmere
)";

// zsh

/// `text` as zsh's _arguments takes the explanation of an option.
std::string zsh_explanation(std::string_view text) {
  std::string out = "[";
  for (const char letter : text) {
    if (letter == '[' || letter == ']' || letter == '\\') out += '\\';
    out += letter;
  }
  return out + "]";
}

std::string zsh_values(std::string_view name, std::string_view choices, bool is_file) {
  const std::string action = !choices.empty() ? "(" + spaced(choices) + ")" : is_file ? "_files" : " ";
  return ":" + std::string(name) + ":" + action;
}

/// The specifications of an option, one for each spelling.
std::string zsh_option(const OptionRow& option) {
  const std::string letter = option.letter.empty() ? "" : "-" + std::string(option.letter);
  const std::string excluded = letter.empty() ? dashed(option) : letter + " " + dashed(option);
  const bool is_list = may_repeat(option) && !option.value.empty();
  const std::string head = is_list ? "*" : "(" + excluded + ")";
  const std::string tail = zsh_explanation(option.help) +
                           (option.value.empty() ? "" : zsh_values(option.value, option.choices, takes_file(option)));
  std::string out;
  if (!letter.empty()) out += " \\\n        " + quoted(head + letter + (option.value.empty() ? "" : "+") + tail);
  return out + " \\\n        " + quoted(head + dashed(option) + (option.value.empty() ? "" : "=") + tail);
}

std::string zsh_arguments(const CommandRow& command) {
  std::string out = "_arguments -s -S";
  for (const OptionRow* option : options_of(command)) out += zsh_option(*option);
  for (const PositionalRow& row : command.positionals) {
    out += " \\\n        " + quoted((row.required ? "" : ":") + zsh_values(row.name, row.choices, true));
  }
  return out;
}

// fish

std::string fish_line(std::string_view condition, const std::string& rest) {
  return "complete -c quillmere -n " + quoted(condition) + rest + "\n";
}

std::string fish_option(std::string_view condition, const OptionRow& option) {
  std::string rest;
  if (!option.letter.empty()) rest += " -s " + std::string(option.letter);
  rest += " -l " + std::string(option.name);
  if (takes_file(option)) {
    rest += " -r -F";
  } else if (!option.value.empty()) {
    rest += " -x";
    if (!option.choices.empty()) rest += " -a " + quoted(spaced(option.choices));
  }
  // fish has backslashes in single quotes where other shells have none.
  std::string help;
  for (const char letter : option.help)
    help += letter == '\'' || letter == '\\' ? std::string{'\\', letter} : std::string{letter};
  return fish_line(condition, rest + " -d '" + help + "'");
}

std::string fish_command(const CommandRow& command) {
  const std::string seen = "__fish_seen_subcommand_from " + std::string(command.name);
  std::string out;
  for (const OptionRow* option : options_of(command)) out += fish_option(seen, *option);
  for (const PositionalRow& row : command.positionals) {
    if (row.choices.empty()) continue;
    const std::string words = spaced(row.choices);
    const std::string unseen = seen + "; and not __fish_seen_subcommand_from ";
    out += fish_line(unseen + words, " -f -a " + quoted(words));
  }
  return out;
}

struct GeneratedRow {
  std::string_view kind;
  std::string (*make)();
};

constexpr auto GENERATED = std::to_array<GeneratedRow>({
    {"man", manual_page},
    {"bash", bash_completions},
    {"zsh", zsh_completions},
    {"fish", fish_completions},
});

}  // namespace

std::string bash_completions() {
  std::string out(BASH_HEAD);
  out += bash_branch(general());
  for (const CommandRow& command : commands()) out += bash_branch(command);
  return out.append(BASH_TAIL);
}

std::string zsh_completions() {
  std::string out = "#compdef quillmere\n\n_quillmere() {\n  local -a commands=(\n";
  for (const CommandRow& command : commands()) {
    out += "    " + quoted(std::string(command.name) + ":" + std::string(command.summary)) + "\n";
  }
  out +=
      "  )\n  if ((CURRENT == 2)) || [[ $words[2] == -* ]]; then\n    ((CURRENT > 2)) || _describe command commands\n  "
      "  " +
      zsh_arguments(general()) + "\n    return\n  fi\n";
  out += "  shift words\n  ((CURRENT--))\n  case $words[1] in\n";
  for (const CommandRow& command : commands()) {
    out += "    " + std::string(command.name) + ")\n      " + zsh_arguments(command) + "\n      ;;\n";
  }
  return out +
         "  esac\n}\n\nif [[ $funcstack[1] == _quillmere ]]; then\n  _quillmere \"$@\"\nelse\n"
         "  compdef _quillmere quillmere\nfi\n";
}

std::string fish_completions() {
  constexpr std::string_view NO_COMMAND_YET = "__fish_use_subcommand";
  std::string out = "# fish completion for quillmere\n\n";
  for (const CommandRow& command : commands()) {
    out += fish_line(NO_COMMAND_YET, " -f -a " + quoted(command.name) + " -d " + quoted(command.summary));
  }
  for (const OptionRow* option : options_of(general())) out += fish_option(NO_COMMAND_YET, *option);
  for (const CommandRow& command : commands()) out += fish_command(command);
  return out;
}

std::string generated(std::string_view kind) {
  for (const GeneratedRow& row : GENERATED) {
    if (row.kind == kind) return row.make();
  }
  return {};
}

}  // namespace quillmere::cli
