#pragma once

#include <string>
#include <string_view>

/// What other programs read about the command line, made from the tables that it is read by.
namespace quillmere::cli {

/// The manual page, as roff source.
[[nodiscard]] std::string manual_page();

/// Completions, to be sourced by the shell or put where it looks for them.
[[nodiscard]] std::string bash_completions();
[[nodiscard]] std::string zsh_completions();
[[nodiscard]] std::string fish_completions();

/// The one of them that `--generate` calls `kind`.
[[nodiscard]] std::string generated(std::string_view kind);

}  // namespace quillmere::cli
