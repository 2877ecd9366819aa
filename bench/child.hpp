#pragma once

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>

/// Running other programs, to compare with.
namespace quillmere::bench {

struct ChildRun {
  bool succeeded = false;
  double wall_seconds = 0;
  double processor_seconds = 0;  ///< user and system
  long peak_kilobytes = 0;       ///< resident; at least what this program had when it started the other
};

/// Whether a program of that name is on the PATH.
inline bool is_installed(const std::string& program) {
  return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

/// Runs `arguments`, the first being the program, with standard input from and standard output to files.
inline ChildRun run_child(const std::vector<std::string>& arguments, const std::string& input = "/dev/null",
                          const std::string& output = "/dev/null") {
  std::vector<char*> raw;
  for (const std::string& argument : arguments) raw.push_back(const_cast<char*>(argument.c_str()));
  raw.push_back(nullptr);
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) {
    dup2(open(input.c_str(), O_RDONLY), STDIN_FILENO);
    dup2(open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
    execvp(raw.front(), raw.data());
    _exit(127);
  }
  int status = 0;
  rusage used{};
  wait4(child, &status, 0, &used);
  const auto seconds_in = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return {WIFEXITED(status) && WEXITSTATUS(status) == 0,
          std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
          seconds_in(used.ru_utime) + seconds_in(used.ru_stime), used.ru_maxrss};
}

}  // namespace quillmere::bench
