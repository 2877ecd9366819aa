#include "tests/cli/run_tool.hpp"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <regex>
#include <signal.h>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <unistd.h>

#include <sys/resource.h>
#include <sys/wait.h>

namespace quillmere::tests {
namespace {

struct Pipe {
  int reader = -1;
  int writer = -1;

  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    reader = ends[0];
    writer = ends[1];
  }
};

void close_end(int& descriptor) {
  if (descriptor >= 0) ::close(descriptor);
  descriptor = -1;
}

std::string read_to_end(int descriptor) {
  std::string text;
  std::array<char, 65536> buffer{};
  ssize_t count = 0;
  while ((count = ::read(descriptor, buffer.data(), buffer.size())) > 0) {
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return text;
}

}  // namespace

void Workspace::write(const std::string& name, const std::string& text) const {
  std::ofstream(path() / name, std::ios::binary) << text;
}

std::string Workspace::read(const std::string& name) const {
  std::ifstream file(path() / name, std::ios::binary);
  if (!file) return "(no file)";
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::vector<std::string> Workspace::names() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(path())) names.push_back(entry.path().filename());
  std::ranges::sort(names);
  return names;
}

Tool::Tool(const std::vector<std::string>& arguments, const std::filesystem::path& directory) {
  ::signal(SIGPIPE, SIG_IGN);
  std::vector<std::string> words = {QUILLMERE_TOOL};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> vector;
  for (std::string& word : words) vector.push_back(word.data());
  vector.push_back(nullptr);
  Pipe input;
  Pipe output;
  Pipe errors;
  _pid = ::fork();
  if (_pid == 0) {
    ::signal(SIGPIPE, SIG_DFL);
    ::dup2(input.reader, STDIN_FILENO);
    ::dup2(output.writer, STDOUT_FILENO);
    ::dup2(errors.writer, STDERR_FILENO);
    if (::chdir(directory.c_str()) == 0) ::execv(vector.front(), vector.data());
    ::_exit(127);
  }
  ::close(input.reader);
  ::close(output.writer);
  ::close(errors.writer);
  _input = input.writer;
  _output = output.reader;
  _errors = errors.reader;
}

Tool::~Tool() {
  close_input();
  close_output();
  close_end(_errors);
  if (_pid > 0) {
    ::kill(_pid, SIGKILL);
    ::waitpid(_pid, nullptr, 0);
  }
}

void Tool::write(const std::string& text) const {
  for (std::size_t at = 0; at < text.size();) {
    const ssize_t count = ::write(_input, text.data() + at, text.size() - at);
    if (count <= 0) return;
    at += static_cast<std::size_t>(count);
  }
}

void Tool::close_input() {
  close_end(_input);
}

void Tool::close_output() {
  close_end(_output);
}

std::string Tool::read_line() const {
  std::string line;
  char letter = 0;
  while (::read(_output, &letter, 1) == 1) {
    line += letter;
    if (letter == '\n') break;
  }
  return line;
}

void Tool::send(int signal_number) const {
  ::kill(_pid, signal_number);
}

ToolResult Tool::finish() {
  ToolResult result;
  {
    std::thread errors([&] { result.errors = read_to_end(_errors); });
    if (_output >= 0) result.output = read_to_end(_output);
    errors.join();
  }
  int status = 0;
  rusage usage = {};
  ::wait4(_pid, &status, 0, &usage);
  _pid = -1;
  _peak_kilobytes = usage.ru_maxrss;
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

ToolResult run_tool(const std::vector<std::string>& arguments, const std::string& input, const Workspace& workspace) {
  Tool tool(arguments, workspace.path());
  std::thread writer([&] {
    tool.write(input);
    tool.close_input();
  });
  ToolResult result = tool.finish();
  writer.join();
  return result;
}

std::string without_time(std::string text) {
  static const std::regex SECONDS("[0-9]+\\.[0-9] s\n");
  return std::regex_replace(text, SECONDS, "T s\n");
}

}  // namespace quillmere::tests
