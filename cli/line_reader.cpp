#include "cli/line_reader.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <utility>

#include "cli/errors.hpp"
#include <sys/stat.h>

namespace quillmere::cli {
namespace {

// Small enough that a worker of a batch which waits for the next line has it soon.
constexpr std::size_t READ_SIZE = std::size_t{64} << 10;
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

[[noreturn]] void cannot_read(const std::string& name, int error_number) {
  throw ToolError(MISUNDERSTOOD, name + ": cannot read: " + system_text(error_number));
}

void refuse_utf16(std::string_view start, const std::string& name) {
  if (start.starts_with("\xFF\xFE") || start.starts_with("\xFE\xFF")) {
    throw ToolError(MISUNDERSTOOD, name + ":1: expected UTF-8, got UTF-16; save the file as UTF-8");
  }
}

bool is_blank(std::string_view line) {
  return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

}  // namespace

InputFile::InputFile(const std::optional<std::string>& path) {
  if (!path || *path == "-") {
    _descriptor = STDIN_FILENO;
    _name = "standard input";
    return;
  }
  _name = path->empty() ? "\"\"" : *path;
  _descriptor = ::open(path->c_str(), O_RDONLY | O_CLOEXEC);
  if (_descriptor < 0) cannot_read(_name, errno);
  struct stat status = {};
  if (::fstat(_descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
    ::close(_descriptor);
    cannot_read(_name, EISDIR);
  }
}

InputFile::~InputFile() {
  if (_descriptor > STDIN_FILENO) ::close(_descriptor);
}

InputFile::InputFile(InputFile&& other) noexcept
    : _descriptor(std::exchange(other._descriptor, -1)), _name(std::move(other._name)) {}

InputFile InputFile::duplicate() const {
  const int descriptor = ::dup(_descriptor);
  if (descriptor < 0) cannot_read(_name, errno);
  return {descriptor, _name};
}

std::optional<std::uint64_t> InputFile::size() const {
  struct stat status = {};
  if (::fstat(_descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return static_cast<std::uint64_t>(status.st_size);
}

std::size_t InputFile::read(char* buffer, std::size_t capacity) const {
  while (true) {
    const ssize_t count = ::read(_descriptor, buffer, capacity);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno == EAGAIN) {  // somebody made our standard input non-blocking
      pollfd waiting{_descriptor, POLLIN, 0};
      ::poll(&waiting, 1, -1);
    } else if (errno != EINTR) {
      cannot_read(_name, errno);
    }
  }
}

bool InputFile::would_wait() const {
  pollfd ready{_descriptor, POLLIN, 0};
  return ::poll(&ready, 1, 0) == 0;
}

std::string read_whole(const InputFile& file) {
  std::string text;
  std::size_t length = 0;
  std::size_t step = static_cast<std::size_t>(file.size().value_or(0)) + 1;
  while (true) {
    text.resize(length + std::max(step, READ_SIZE));
    step = length;  // doubles when the size was not known
    while (length < text.size()) {
      const std::size_t count = file.read(text.data() + length, text.size() - length);
      length += count;
      if (count > 0) continue;
      text.resize(length);
      refuse_utf16(text, file.name());
      if (text.starts_with(BYTE_ORDER_MARK)) text.erase(0, BYTE_ORDER_MARK.size());
      return text;
    }
  }
}

LineReader::LineReader(InputFile file)
    : _file(std::move(file)), _buffer(new char[READ_SIZE * 2]), _capacity(READ_SIZE * 2) {
  const off_t position = ::lseek(_file.descriptor(), 0, SEEK_CUR);  // fails for a pipe
  if (position > 0) _buffer_offset = static_cast<std::uint64_t>(position);
}

std::optional<std::string_view> LineReader::next() {
  while (auto line = _next_raw()) {
    if (++_line_number == 1) {
      refuse_utf16(*line, _file.name());
      if (line->starts_with(BYTE_ORDER_MARK)) {
        line->remove_prefix(BYTE_ORDER_MARK.size());
        _line_offset += BYTE_ORDER_MARK.size();
      }
    }
    if (line->ends_with('\r')) line->remove_suffix(1);
    if (!is_blank(*line)) return line;
  }
  return std::nullopt;
}

std::optional<std::string_view> LineReader::_next_raw() {
  while (true) {
    _line_offset = _buffer_offset + _begin;
    const char* start = _buffer.get() + _begin;
    const void* found = std::memchr(_buffer.get() + _searched, '\n', _end - _searched);
    if (found != nullptr) {
      const auto length = static_cast<std::size_t>(static_cast<const char*>(found) - start);
      _searched = _begin += length + 1;
      _ended_with_break = true;
      return std::string_view(start, length);
    }
    _searched = _end;
    if (_fill()) continue;
    if (_begin == _end) return std::nullopt;
    const std::string_view last(_buffer.get() + _begin, _end - _begin);
    _begin = _end;
    _ended_with_break = false;
    return last;
  }
}

/// Reads on behind what is left, which it moves to the front; false at the end of the file.
bool LineReader::_fill() {
  if (_at_end) return false;
  if (_begin > 0) {
    std::memmove(_buffer.get(), _buffer.get() + _begin, _end - _begin);
    _buffer_offset += _begin;
    _end -= _begin;
    _searched -= _begin;
    _begin = 0;
  }
  if (_capacity - _end < READ_SIZE) {
    std::unique_ptr<char[]> larger(new char[_capacity * 2]);
    std::memcpy(larger.get(), _buffer.get(), _end);
    _buffer = std::move(larger);
    _capacity *= 2;
  }
  if (_before_waiting && _file.would_wait()) _before_waiting();
  const std::size_t count = _file.read(_buffer.get() + _end, _capacity - _end);
  _end += count;
  _at_end = count == 0;
  return !_at_end;
}

}  // namespace quillmere::cli
