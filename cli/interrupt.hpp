#pragma once

#include <string>

/// Ctrl-C: the tool ends at once, whatever it is doing, with nothing half written.
namespace quillmere::cli {

/// From here on SIGINT ends the process with status 130 (SIGTERM and SIGHUP with 143 and 129, unless they are ignored),
/// and writing to a closed pipe is an error instead of a signal.
void end_on_interrupt();

/// While one exists an interrupt waits for its end: a file is being moved into place. A second interrupt does not wait.
class InterruptHold {
 public:
  InterruptHold();
  ~InterruptHold();
  InterruptHold(const InterruptHold&) = delete;
  InterruptHold& operator=(const InterruptHold&) = delete;
};

/// Whether an unfinished line stands on the terminal, to be cleared when an interrupt ends the tool.
void set_line_to_clear(bool on_terminal);

/// What an interrupt says before it ends the tool, while one exists; only one at a time.
class LastWords {
 public:
  /// `text` becomes a line as `report` writes one.
  explicit LastWords(const std::string& text);
  ~LastWords();
  LastWords(const LastWords&) = delete;
  LastWords& operator=(const LastWords&) = delete;

 private:
  std::string _text;
};

}  // namespace quillmere::cli
