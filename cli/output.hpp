#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// Where the tool's results go.
namespace quillmere::cli {

/// Standard output, buffered here. Throws ClosedPipe when nobody reads any more, ToolError FAILED when it cannot be
/// written. What is not flushed is not written.
class StandardOutput {
 public:
  /// To append to; then call `written`.
  [[nodiscard]] std::string& buffer() noexcept { return _buffer; }
  /// Writes when enough has gathered.
  void written() {
    if (_buffer.size() >= FLUSH_SIZE) flush();
  }
  void flush();

 private:
  static constexpr std::size_t FLUSH_SIZE = std::size_t{64} << 10;

  std::string _buffer;
};

/// Writes all of `bytes` to a descriptor that messages call `name`. Throws as StandardOutput.
void write_all(int descriptor, std::string_view bytes, std::string_view name);

/// Throws the ToolError FAILED of an errno value.
[[noreturn]] void cannot_write(std::string_view name, int error_number);

/// Puts `text` into the file at `path` as the exports do: beside it and moved into place, or in place when it is no
/// regular file. Throws ToolError FAILED.
void write_file(const std::string& path, std::string_view text);

/// Throws ToolError MISUNDERSTOOD when the file at `output`, which `option` names, is the one that is read as `input`
/// (absent or "-": standard input).
void expect_not_read(std::string_view option, const std::string& output, const std::optional<std::string>& input);

/// Throws ToolError FAILED when a file at `path` could not be written today: before the work, not after it.
void expect_writable(const std::string& path);

}  // namespace quillmere::cli
