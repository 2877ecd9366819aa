#include "quillmere/files/atomic_file.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <iterator>
#include <random>
#include <string>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

#include <sys/stat.h>

namespace quillmere::files {
namespace fs = std::filesystem;
namespace {

constexpr int MAX_LINKS = 40;  // as the kernel
constexpr int MAX_ATTEMPTS = 100;

std::error_code code(int error) {
  return {error, std::generic_category()};
}

/// Whether `link`, a symbolic link, stands for an open file rather than for a place: its text may name a pipe
/// ("pipe:[4711]") or a file that has been removed, and cannot be followed by name.
bool stands_for_open_file(const fs::path& link) {
  return link.parent_path().filename() == "fd" && link.native().starts_with("/proc/");
}

/// Puts the components of `relative` in front of those that are still to be walked; the next one stands last.
void push(std::vector<fs::path>& pending, const fs::path& relative) {
  const std::vector<fs::path> names(relative.begin(), relative.end());
  std::copy_if(names.rbegin(), names.rend(), std::back_inserter(pending),
               [](const fs::path& name) { return !name.empty() && name != "."; });
}

fs::path temporary_name() {
  constexpr std::string_view DIGITS = "0123456789abcdefghijklmnopqrstuv";
  std::random_device random;
  std::string name = ".quillmere-";
  for (int i = 0; i < 12; ++i) name += DIGITS[random() % DIGITS.size()];
  return name + ".tmp";
}

/// Makes the new directory entry durable where the file system can. It is in place by now, so a failure here is none
/// of the file.
void sync_directory(const fs::path& directory) {
  const int descriptor = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  (void)::fsync(descriptor);
  (void)::close(descriptor);
}

}  // namespace

fs::path resolve(const fs::path& path) {
  if (path.native().find('\0') != std::string::npos) {
    throw fs::filesystem_error("cannot resolve a path that holds a NUL", path, code(EINVAL));
  }
  const fs::path absolute = fs::absolute(path);
  fs::path resolved = absolute.root_path();
  std::vector<fs::path> pending;
  push(pending, absolute.relative_path());
  for (int links = 0; !pending.empty();) {
    const fs::path name = std::move(pending.back());
    pending.pop_back();
    if (name == "..") {
      resolved = resolved.parent_path();
      continue;
    }
    fs::path next = resolved / name;
    std::error_code ignored;  // what cannot be looked at is taken as written; opening it will tell why
    if (!fs::is_symlink(next, ignored) || (pending.empty() && stands_for_open_file(next))) {
      resolved = std::move(next);
      continue;
    }
    if (++links > MAX_LINKS) throw fs::filesystem_error("cannot resolve", path, code(ELOOP));
    const fs::path destination = fs::read_symlink(next);
    if (destination.is_absolute()) resolved = destination.root_path();
    push(pending, destination.relative_path());
  }
  return resolved;
}

// Delegates, so that the destructor clears up when the rest of this constructor throws.
AtomicFile::AtomicFile(const fs::path& target) : AtomicFile() {
  _path = resolve(target);
  struct stat earlier {};
  if (::stat(_path.c_str(), &earlier) != 0) {
    if (errno != ENOENT) _fail("cannot write");
    fs::create_directories(_path.parent_path());
    _create_temporary(0666);
    return;
  }
  if (!S_ISREG(earlier.st_mode) || fs::is_symlink(_path)) {  // a link in a resolved path stands for an open file
    _open_in_place();
    return;
  }
  if (::faccessat(AT_FDCWD, _path.c_str(), W_OK, AT_EACCESS) != 0) _fail("cannot write");
  _create_temporary(0600);
  // Changing the owner may be refused, and clears bits of the mode where it is not: so the mode comes last.
  if (::fchown(_descriptor, earlier.st_uid, earlier.st_gid) != 0) errno = 0;
  if (::fchmod(_descriptor, earlier.st_mode & 07777U) != 0) _fail("cannot set the permissions of");
}

AtomicFile::~AtomicFile() {
  if (_descriptor >= 0) (void)::close(_descriptor);
  if (!_temporary.empty()) (void)::unlink(_temporary.c_str());
}

void AtomicFile::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(_descriptor, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      _fail("cannot write");
    }
  }
}

void AtomicFile::commit() {
  if (_temporary.empty()) {
    _close();
    return;
  }
  if (::fsync(_descriptor) != 0 && errno != EINVAL && errno != ENOTSUP) _fail("cannot write");
  _close();
  if (::rename(_temporary.c_str(), _path.c_str()) != 0) _fail("cannot replace");
  _temporary.clear();
  sync_directory(_path.parent_path());
}

void AtomicFile::_open_in_place() {
  // At the end: an open file may hold what its owner wrote before, as in `{ echo head; quillmere ...; } >> log`.
  _descriptor = ::open(_path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NOCTTY);
  if (_descriptor < 0) _fail("cannot write");
}

void AtomicFile::_create_temporary(unsigned mode) {
  for (int attempt = 0; attempt < MAX_ATTEMPTS; ++attempt) {
    fs::path candidate = _path.parent_path() / temporary_name();
    _descriptor = ::open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (_descriptor >= 0) {
      _temporary = std::move(candidate);
      return;
    }
    if (errno != EEXIST) break;
  }
  _fail("cannot create a temporary file beside");
}

void AtomicFile::_close() {
  const int result = ::close(std::exchange(_descriptor, -1));
  if (result != 0 && errno != EINTR) _fail("cannot write");
}

void AtomicFile::_fail(const char* what) const {
  throw fs::filesystem_error(what, _path, code(errno));
}

fs::path write_file(const fs::path& target, std::string_view bytes) {
  AtomicFile file(target);
  file.write(bytes);
  file.commit();
  return file.path();
}

}  // namespace quillmere::files
