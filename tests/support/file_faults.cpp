// Preloaded into a program, makes one of its calls on a regular file (write, ftruncate, fsync, rename; fsync of a
// directory too) go wrong. FILE_FAULT is "NUMBER WAY ARGUMENT": the call with that number, counted from 1,
//   fails N   ends in the errno N, once
//   full N    writes half of its bytes if it writes; from then on every call ends in the errno N
//   kills N   writes its first N bytes if it writes, N modulo their number; then the process is killed

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <unistd.h>

#include <sys/stat.h>
#include <sys/syscall.h>

namespace {

std::atomic<int> calls = 0;

struct Fault {
  int number = 0;
  char way[8] = "";
  unsigned long argument = 0;

  Fault() {
    const char* text = std::getenv("FILE_FAULT");
    if (text == nullptr || std::sscanf(text, "%d %7s %lu", &number, way, &argument) != 3) number = 0;
  }
};

bool is_file(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && (S_ISREG(status.st_mode) || S_ISDIR(status.st_mode));
}

/// Whether the call that asks fails, by errno. `bytes` is for a write.
bool goes_wrong(int descriptor, std::string_view bytes, long& written) {
  static const Fault fault;
  if (fault.number == 0 || !is_file(descriptor)) return false;
  const int number = ++calls;
  const std::string_view way = fault.way;
  if (number < fault.number || (number > fault.number && way != "full")) return false;
  std::size_t part = 0;
  if (!bytes.empty() && number == fault.number) {
    part = way == "kills" ? fault.argument % bytes.size() : way == "full" ? bytes.size() / 2 : 0;
  }
  written = part > 0 ? ::syscall(SYS_write, descriptor, bytes.data(), part) : -1;
  if (way == "kills") ::raise(SIGKILL);
  if (written < 0) errno = static_cast<int>(fault.argument);
  return true;
}

}  // namespace

extern "C" {

ssize_t write(int descriptor, const void* bytes, size_t size) {
  long written = 0;
  if (goes_wrong(descriptor, {static_cast<const char*>(bytes), size}, written)) return written;
  return ::syscall(SYS_write, descriptor, bytes, size);
}

int fsync(int descriptor) {
  long written = 0;
  return goes_wrong(descriptor, "", written) ? -1 : static_cast<int>(::syscall(SYS_fsync, descriptor));
}

int ftruncate(int descriptor, off_t length) noexcept {
  long written = 0;
  return goes_wrong(descriptor, "", written) ? -1 : static_cast<int>(::syscall(SYS_ftruncate, descriptor, length));
}

int rename(const char* from, const char* to) noexcept {
  const int descriptor = static_cast<int>(::syscall(SYS_open, from, 0));
  long written = 0;
  const bool wrong = goes_wrong(descriptor, "", written);
  const int error = errno;
  ::syscall(SYS_close, descriptor);
  errno = error;
  return wrong ? -1 : static_cast<int>(::syscall(SYS_rename, from, to));
}
}
