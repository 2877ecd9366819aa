#include "cli/interrupt.hpp"

#include <array>
#include <atomic>
#include <csignal>
#include <string_view>
#include <unistd.h>

namespace quillmere::cli {
namespace {

std::atomic<int> holds{0};
std::atomic<int> pending_signal{0};
std::atomic<bool> line_to_clear{false};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

[[noreturn]] void end_by(int signal_number) {
  if (line_to_clear) {
    constexpr std::string_view CLEAR_LINE = "\r\x1b[K";
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, CLEAR_LINE.data(), CLEAR_LINE.size());
  }
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

}  // namespace quillmere::cli
