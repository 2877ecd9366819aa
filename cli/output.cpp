#include "cli/output.hpp"

#include <cerrno>
#include <filesystem>
#include <poll.h>
#include <system_error>
#include <unistd.h>

#include "cli/errors.hpp"
#include "cli/interrupt.hpp"
#include <sys/stat.h>

#include "quillmere/files/atomic_file.hpp"

namespace quillmere::cli {

void cannot_write(std::string_view name, int error_number) {
  const std::string text =
      error_number == ENOENT ? "no file can be made there; name another place" : system_text(error_number);
  throw ToolError(FAILED, std::string(name) + ": cannot write: " + text);
}

void write_all(int descriptor, std::string_view bytes, std::string_view name) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EPIPE) {
      throw ClosedPipe();
    } else if (errno == EAGAIN) {  // somebody made the descriptor non-blocking
      pollfd waiting{descriptor, POLLOUT, 0};
      ::poll(&waiting, 1, -1);
    } else if (errno != EINTR) {
      cannot_write(name, errno);
    }
  }
}

void StandardOutput::flush() {
  write_all(STDOUT_FILENO, _buffer, "standard output");
  _buffer.clear();
}

void write_file(const std::string& path, std::string_view text) {
  struct stat status = {};
  const bool is_regular = ::stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode);
  std::optional<InterruptHold> hold;  // not for a pipe, which may keep us waiting for its reader
  if (is_regular) hold.emplace();
  try {
    files::write_file(path, text);
  } catch (const std::system_error& error) {
    if (!is_regular && error.code() == std::errc::broken_pipe) return;
    cannot_write(path, error.code().value());
  }
}

void expect_not_read(std::string_view option, const std::string& output, const std::optional<std::string>& input) {
  struct stat written = {};
  struct stat read = {};
  const bool is_standard_input = input.value_or("-") == "-";
  if (::stat(output.c_str(), &written) != 0 || !S_ISREG(written.st_mode)) return;
  if ((is_standard_input ? ::fstat(STDIN_FILENO, &read) : ::stat(input->c_str(), &read)) != 0) return;
  if (read.st_dev != written.st_dev || read.st_ino != written.st_ino) return;
  throw ToolError(MISUNDERSTOOD,
                  std::string(option) + ": " + in_quotes(output) + " is also read; write to another file");
}

void expect_writable(const std::string& path) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) cannot_write(path, EISDIR);
    if (::access(path.c_str(), W_OK) != 0) cannot_write(path, errno);
    if (!S_ISREG(status.st_mode)) return;
  }
  // Missing directories are made when the file is written, so the nearest one that exists decides.
  std::error_code ignored;
  std::filesystem::path directory =
      std::filesystem::weakly_canonical(std::filesystem::absolute(path), ignored).parent_path();
  while (::stat(directory.c_str(), &status) != 0 && directory.has_relative_path()) {
    if (errno != ENOENT) cannot_write(path, errno);
    directory = directory.parent_path();
  }
  if (!S_ISDIR(status.st_mode)) cannot_write(path, ENOTDIR);
  if (::access(directory.c_str(), W_OK | X_OK) != 0) cannot_write(path, errno);
}

}  // namespace quillmere::cli
