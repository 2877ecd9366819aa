#pragma once

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/temporary_directory.hpp"
#include <sys/types.h>

/// Runs the built tool as its users do.
namespace quillmere::tests {

/// What a run came to. A run that a signal ended has the status 128 + signal.
struct ToolResult {
  std::string output;
  std::string errors;
  int status = 0;

  friend bool operator==(const ToolResult&, const ToolResult&) = default;
  friend std::ostream& operator<<(std::ostream& out, const ToolResult& result) {
    return out << "status " << result.status << "\nstdout: " << result.output << "\nstderr: " << result.errors;
  }
};

/// A directory for a run's files.
class Workspace : public TemporaryDirectory {
 public:
  void write(const std::string& name, const std::string& text) const;
  /// The text of a file; "(no file)" when there is none.
  [[nodiscard]] std::string read(const std::string& name) const;
  /// The names of all files, sorted.
  [[nodiscard]] std::vector<std::string> names() const;
};

/// A running tool, its three streams in the caller's hands. Destroying it kills and reaps it.
class Tool {
 public:
  Tool(const std::vector<std::string>& arguments, const std::filesystem::path& directory);
  ~Tool();
  Tool(const Tool&) = delete;
  Tool& operator=(const Tool&) = delete;

  void write(const std::string& text) const;
  void close_input();
  void close_output();
  /// What standard output gives up to and with the next line break.
  [[nodiscard]] std::string read_line() const;
  void send(int signal_number) const;
  /// Reads both streams to their end and waits.
  [[nodiscard]] ToolResult finish();
  /// Most memory that it held at a time, once it is finished.
  [[nodiscard]] long peak_kilobytes() const noexcept { return _peak_kilobytes; }

 private:
  pid_t _pid = -1;
  int _input = -1;
  int _output = -1;
  int _errors = -1;
  long _peak_kilobytes = 0;
};

/// One run from start to end, in `workspace`.
[[nodiscard]] ToolResult run_tool(const std::vector<std::string>& arguments, const std::string& input,
                                  const Workspace& workspace);

/// `text` with the figures of the closing summary's last part, the seconds, made "T s".
[[nodiscard]] std::string without_time(std::string text);

}  // namespace quillmere::tests
