#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// The tool's input: a file or standard input, whole or line by line.
namespace quillmere::cli {

/// An open input.
class InputFile {
 public:
  /// Opens `path`; absent and "-" are standard input. Throws ToolError MISUNDERSTOOD when there is none to be read.
  explicit InputFile(const std::optional<std::string>& path);
  /// Takes an open descriptor.
  InputFile(int descriptor, std::string name) : _descriptor(descriptor), _name(std::move(name)) {}
  ~InputFile();
  InputFile(InputFile&& other) noexcept;
  InputFile& operator=(InputFile&&) = delete;

  /// What messages call it: the path as given, or "standard input".
  [[nodiscard]] const std::string& name() const noexcept { return _name; }
  [[nodiscard]] int descriptor() const noexcept { return _descriptor; }
  /// The same open file under a descriptor of its own; both share one position.
  [[nodiscard]] InputFile duplicate() const;
  /// Bytes of a regular file; absent for anything else.
  [[nodiscard]] std::optional<std::uint64_t> size() const;
  /// Reads up to `capacity` bytes; 0 is the end. Throws ToolError MISUNDERSTOOD.
  [[nodiscard]] std::size_t read(char* buffer, std::size_t capacity) const;
  /// Whether a read would have to wait for whoever writes.
  [[nodiscard]] bool would_wait() const;

 private:
  int _descriptor = -1;
  std::string _name;
};

/// All of `file` without its byte-order mark. Throws ToolError MISUNDERSTOOD for what cannot be read and for UTF-16.
[[nodiscard]] std::string read_whole(const InputFile& file);

/// The lines of a file, one at a time: memory grows to the longest line and no further. A byte-order mark at the start
/// is passed over, and so are lines of nothing but whitespace.
class LineReader {
 public:
  explicit LineReader(InputFile file);

  /// The next line without its line break (LF or CR LF), valid until the next call; absent at the end.
  [[nodiscard]] std::optional<std::string_view> next();

  [[nodiscard]] const InputFile& file() const noexcept { return _file; }
  /// Of the line that `next` gave last: its number, from 1, and the byte of the file it begins at.
  [[nodiscard]] std::uint64_t line_number() const noexcept { return _line_number; }
  [[nodiscard]] std::uint64_t line_offset() const noexcept { return _line_offset; }
  /// Whether that line had a line break: only the last one of a file may lack it.
  [[nodiscard]] bool ended_with_break() const noexcept { return _ended_with_break; }
  /// Bytes of the file up to the end of that line, its break included.
  [[nodiscard]] std::uint64_t consumed() const noexcept { return _buffer_offset + _begin; }

  /// Calls `action` before a read that has to wait, so that what was written so far reaches its reader.
  void before_waiting(std::function<void()> action) { _before_waiting = std::move(action); }

 private:
  [[nodiscard]] std::optional<std::string_view> _next_raw();
  bool _fill();

  InputFile _file;
  std::function<void()> _before_waiting;
  std::unique_ptr<char[]> _buffer;
  std::size_t _capacity;
  std::size_t _begin = 0;     // of what has not been given out
  std::size_t _searched = 0;  // no line break from _begin to here
  std::size_t _end = 0;
  std::uint64_t _buffer_offset = 0;  // of _buffer[0] in the file
  std::uint64_t _line_number = 0;
  std::uint64_t _line_offset = 0;
  bool _at_end = false;
  bool _ended_with_break = false;
};

}  // namespace quillmere::cli
