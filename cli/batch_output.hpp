#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "cli/line_reader.hpp"

#include "quillmere/text/json.hpp"

/// What `batch` writes: one line for each search, in the order of the input, whole lines only.
namespace quillmere::cli {

/// The "id" of a search as JSON text on one line; null when there is none or `search` is no object.
[[nodiscard]] std::string id_text(const std::optional<text::JsonValue>& search);

/// A file that grows line by line, so that a run that was cut off can go on behind what it has, or standard output.
/// An earlier file stays as it is until there is a line to write.
class LineFile {
 public:
  /// Absent and "-" are standard output.
  explicit LineFile(const std::optional<std::string>& path);
  ~LineFile();
  LineFile(const LineFile&) = delete;
  LineFile& operator=(const LineFile&) = delete;

  /// Keeps the whole lines that the file has, after a look that their ids are those of the first lines of `searches`,
  /// which then stands behind them; a last line without its end goes. Gives their number.
  /// Throws ToolError MISUNDERSTOOD, the file untouched, when they are not.
  std::uint64_t keep_lines(LineReader& searches);

  /// Appends `line` and a line break. Throws as write_all.
  void append(std::string line);
  /// Makes the file what was appended also when that was nothing.
  void finish();

 private:
  void _open();

  std::optional<std::string> _path;
  std::string _name;
  int _descriptor = -1;
  bool _is_regular = false;
  std::uint64_t _kept_bytes = 0;
};

/// Puts lines back into order: they arrive as searches end and are appended as the input had them.
class OrderedLines {
 public:
  explicit OrderedLines(LineFile& file) : _file(file) {}

  /// Throws as LineFile::append; from then on it does nothing, for no line may follow a part of one.
  void put(std::uint64_t position, std::string line);
  /// Position of the first line that is still missing.
  [[nodiscard]] std::uint64_t next() const noexcept { return _next; }

 private:
  LineFile& _file;
  std::map<std::uint64_t, std::string> _waiting;
  std::uint64_t _next = 0;
  bool _is_torn = false;  ///< a line is being written, or was when that failed
};

}  // namespace quillmere::cli
