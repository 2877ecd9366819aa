#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

/// How the tool fails: one line on standard error and an exit status.
namespace quillmere::cli {

enum ExitStatus : int {
  DONE = 0,
  FAILED = 1,         ///< the work failed: a file that cannot be written, an enrichment that ended in an error
  MISUNDERSTOOD = 2,  ///< the command line or the input cannot be understood
  INTERRUPTED = 130,
};

/// Ends the command. The text says where, what was expected and what was there, without "quillmere: " in front.
class ToolError : public std::runtime_error {
 public:
  ToolError(ExitStatus status, const std::string& text) : std::runtime_error(text), _status(status) {}
  [[nodiscard]] ExitStatus status() const noexcept { return _status; }

 private:
  ExitStatus _status;
};

/// Whoever read our output has stopped: no error, but there is nobody left to work for.
class ClosedPipe {};

/// Writes "quillmere: TEXT" to standard error as one line.
void report(std::string_view text);

/// `text` fit for a terminal: control characters, line breaks, marks that reorder text and bytes that are no UTF-8
/// written as escapes ("\x1b", "\n", "\u202e").
[[nodiscard]] std::string printable(std::string_view text);

/// `text` cut to what a message can hold.
[[nodiscard]] std::string excerpt(std::string_view text);

/// The same in double quotes.
[[nodiscard]] std::string in_quotes(std::string_view text);

/// The system's words for an errno value, and what can be done: "Is a directory; name a file in it".
[[nodiscard]] std::string system_text(int error_number);

}  // namespace quillmere::cli
