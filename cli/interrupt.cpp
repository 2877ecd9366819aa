#include "cli/interrupt.hpp"

#include <array>
#include <atomic>
#include <csignal>
#include <string_view>
#include <unistd.h>

#include "cli/errors.hpp"

namespace quillmere::cli {
namespace {

std::atomic<int> holds{0};
std::atomic<int> pending_signal{0};
std::atomic<bool> line_to_clear{false};
std::atomic<const std::string*> last_words{nullptr};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free &&
              std::atomic<const std::string*>::is_always_lock_free);

void write_to_standard_error(std::string_view text) {
  [[maybe_unused]] const auto written = ::write(STDERR_FILENO, text.data(), text.size());
}

[[noreturn]] void end_by(int signal_number) {
  if (line_to_clear) write_to_standard_error("\r\x1b[K");
  if (const std::string* const text = last_words) write_to_standard_error(*text);
  ::_exit(128 + signal_number);
}

// Runs in a signal handler: nothing here but what is safe there.
extern "C" void on_signal(int signal_number) {
  if (holds != 0 && pending_signal.exchange(signal_number) == 0) return;
  end_by(signal_number);
}

}  // namespace

void end_on_interrupt() {
  struct sigaction action = {};
  action.sa_handler = on_signal;
  action.sa_flags = SA_RESTART;
  ::sigaction(SIGINT, &action, nullptr);
  for (const int signal_number : {SIGTERM, SIGHUP}) {
    struct sigaction before = {};
    ::sigaction(signal_number, nullptr, &before);
    if (before.sa_handler != SIG_IGN) ::sigaction(signal_number, &action, nullptr);
  }
  action.sa_handler = SIG_IGN;
  ::sigaction(SIGPIPE, &action, nullptr);
}

InterruptHold::InterruptHold() {
  ++holds;
}

InterruptHold::~InterruptHold() {
  if (--holds == 0 && pending_signal != 0) end_by(pending_signal);
}

void set_line_to_clear(bool on_terminal) {
  line_to_clear = on_terminal;
}

LastWords::LastWords(const std::string& text) : _text("quillmere: " + printable(text) + "\n") {
  last_words = &_text;
}

LastWords::~LastWords() {
  last_words = nullptr;
}

}  // namespace quillmere::cli
