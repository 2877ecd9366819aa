#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <unistd.h>
#include <vector>

#include "cli/command_line.hpp"
#include "cli/errors.hpp"
#include "cli/interrupt.hpp"
#include "cli/output.hpp"

namespace {

using namespace quillmere::cli;

/// Somebody who gave no input at a terminal would otherwise look at a tool that seems to hang.
void tell_who_is_waited_for(const Settings& settings) {
  if (settings.input || settings.quiet || ::isatty(STDIN_FILENO) != 1) return;
  report("reading from the terminal; Ctrl-D ends the input, Ctrl-C the run");
}

int run(const std::vector<std::string>& arguments) {
  try {
    const Invocation invocation = read_command_line(arguments);
    if (invocation.command != nullptr) {
      tell_who_is_waited_for(invocation.settings);
      return invocation.command->run(invocation.settings);
    }
    StandardOutput output;
    output.buffer() = invocation.text;
    output.flush();
    return DONE;
  } catch (const ClosedPipe&) {
    return DONE;
  } catch (const ToolError& error) {
    report(error.what());
    return error.status();
  } catch (const std::bad_alloc&) {
    report("out of memory");
  } catch (const std::exception& error) {
    report(error.what());
  }
  return FAILED;
}

}  // namespace

int main(int argument_count, char** arguments) {
  end_on_interrupt();
  return run({arguments + 1, arguments + argument_count});
}
