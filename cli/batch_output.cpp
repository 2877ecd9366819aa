#include "cli/batch_output.hpp"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>
#include <utility>

#include "cli/errors.hpp"
#include "cli/interrupt.hpp"
#include "cli/output.hpp"
#include <sys/stat.h>

#include "quillmere/text/unicode.hpp"

namespace quillmere::cli {
namespace {

/// JSON text with the raw control characters that the reader lets pass written as JSON wants them.
std::string without_control_characters(std::string json) {
  std::string out;
  bool in_string = false;
  for (std::size_t i = 0; i < json.size(); ++i) {
    const char letter = json[i];
    if (static_cast<unsigned char>(letter) < 0x20) {
      std::array<char, 8> escape{};
      std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(letter));
      out += in_string ? escape.data() : " ";
      continue;
    }
    out += letter;
    if (letter == '"') in_string = !in_string;
    if (letter == '\\' && i + 1 < json.size()) out += json[++i];
  }
  return out;
}

}  // namespace

std::string id_text(const std::optional<text::JsonValue>& search) {
  const auto id = search ? search->find("id") : std::nullopt;
  return id ? without_control_characters(text::to_valid_utf8(std::string(id->raw()))) : "null";
}

LineFile::LineFile(const std::optional<std::string>& path) : _path(path), _name(path.value_or("-")) {
  if (_name != "-") {
    expect_writable(*_path);
    return;
  }
  _path.reset();
  _name = "standard output";
  _descriptor = STDOUT_FILENO;
}

LineFile::~LineFile() {
  if (_path && _descriptor >= 0) ::close(_descriptor);
}

std::uint64_t LineFile::keep_lines(LineReader& searches) {
  struct stat status = {};
  if (::stat(_path->c_str(), &status) != 0) return 0;
  if (!S_ISREG(status.st_mode)) {
    throw ToolError(MISUNDERSTOOD, _name + ": expected a regular file to resume, got something else");
  }
  const auto refuse = [this](std::uint64_t line, const std::string& text) {
    throw ToolError(MISUNDERSTOOD, _name + ":" + std::to_string(line) + ": " + text);
  };
  LineReader kept{InputFile(_path)};
  text::JsonDocument document;
  text::JsonDocument search_document;
  std::uint64_t count = 0;
  while (const auto line = kept.next()) {
    if (!kept.ended_with_break()) break;
    const auto search = searches.next();
    if (!search)
      refuse(kept.line_number(), "the input has no search for this line; resume with the input it came from");
    const auto result = document.read(*line);
    if (!result || !result->is_object()) refuse(kept.line_number(), "expected a result of a search; cannot resume");
    const std::string id = id_text(result);
    const std::string expected = id_text(search_document.read(*search));
    if (id != expected) {
      refuse(kept.line_number(), "expected the id " + excerpt(expected) + " of line " +
                                     std::to_string(searches.line_number()) + " of " + searches.file().name() +
                                     ", got " + excerpt(id) + "; resume with the input it came from");
    }
    _kept_bytes = kept.consumed();
    ++count;
  }
  return count;
}

void LineFile::_open() {
  std::error_code ignored;  // opening the file will tell
  std::filesystem::create_directories(std::filesystem::absolute(*_path).parent_path(), ignored);
  _descriptor = ::open(_path->c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  struct stat status = {};
  if (_descriptor < 0 || ::fstat(_descriptor, &status) != 0) cannot_write(_name, errno);
  _is_regular = S_ISREG(status.st_mode);
  if (!_is_regular) return;
  const auto length = static_cast<off_t>(_kept_bytes);
  if (::ftruncate(_descriptor, length) != 0 || ::lseek(_descriptor, length, SEEK_SET) != length) {
    cannot_write(_name, errno);
  }
}

void LineFile::append(std::string line) {
  if (_descriptor < 0) _open();
  line += '\n';
  std::optional<InterruptHold> hold;  // an interrupt must not leave half a line in a file
  if (_is_regular) hold.emplace();
  write_all(_descriptor, line, _name);
}

void LineFile::finish() {
  if (_descriptor < 0) _open();
}

void OrderedLines::put(std::uint64_t position, std::string line) {
  if (_is_torn) return;
  _waiting.emplace(position, std::move(line));
  for (auto first = _waiting.begin(); first != _waiting.end() && first->first == _next; first = _waiting.begin()) {
    _is_torn = true;
    _file.append(std::move(first->second));
    _is_torn = false;
    _waiting.erase(first);
    ++_next;
  }
}

}  // namespace quillmere::cli
