#pragma once

#include <filesystem>
#include <string_view>

#include "quillmere/api.hpp"

/// The one place where the system writes files.
namespace quillmere::files {

/// A file that others see whole or not at all.
///
/// What is written goes to a new file beside the target, which takes the target's place on `commit`; until then, and
/// for good when an AtomicFile ends without it, an earlier file stays as it was and nothing is left behind. A process
/// that is killed may leave a ".quillmere-*.tmp" behind, never a torn target.
///
/// An earlier file's permissions are kept (its owner too, where that is allowed); one that may not be written is not
/// replaced. A new file's permissions follow the umask. Other hard links to an earlier file keep the old content.
///
/// Where the target exists and is no regular file (a pipe, a device), or names an open file of a process
/// (/dev/stdout, /dev/fd/3), it is written in place, at its end, and what was written before a failure stays.
/// Writing to a pipe that nobody reads raises SIGPIPE, unless the program ignores that signal.
///
/// Errors   std::filesystem::filesystem_error (a std::system_error) with the target's path in it.
/// Threads  one thread at a time. Writers of the same target are not coordinated: the last `commit` wins.
///
///   AtomicFile file("out/matches.jsonl");
///   for (const auto& item : items) file.write(model_dump_json(item) + "\n");
///   file.commit();
class QUILLMERE_API AtomicFile {
 public:
  /// Resolves `target` as `resolve` does and creates missing directories.
  explicit AtomicFile(const std::filesystem::path& target);
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;
  ~AtomicFile();

  /// The absolute, resolved path of the target.
  [[nodiscard]] const std::filesystem::path& path() const noexcept { return _path; }

  /// Adds `bytes`, unbuffered.
  void write(std::string_view bytes);

  /// Puts what was written on disk and in the target's place. Call once, last.
  void commit();

 private:
  AtomicFile() = default;
  void _open_in_place();
  void _create_temporary(unsigned mode);
  void _close();
  [[noreturn]] void _fail(const char* what) const;

  std::filesystem::path _path;
  std::filesystem::path _temporary;  ///< empty: written in place, or committed
  int _descriptor = -1;
};

/// `path` made absolute against the current directory, with symbolic links followed (a dangling one too: it names a
/// file that does not exist yet), "." and ".." resolved. What does not exist is taken as written. A link of the
/// system that stands for an open file, such as /proc/self/fd/1, ends the path as it is.
///
/// Throws std::filesystem::filesystem_error for an empty path, a NUL in it and links that go in circles.
[[nodiscard]] QUILLMERE_API std::filesystem::path resolve(const std::filesystem::path& path);

/// Writes `bytes` as an AtomicFile, whole. Gives the absolute, resolved path of the file.
QUILLMERE_API std::filesystem::path write_file(const std::filesystem::path& target, std::string_view bytes);

}  // namespace quillmere::files
