#pragma once

#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// A network of this process's own: every address there is leads to this machine, and names mean what a test says.
namespace quillmere::testing {

/// Moves the calling thread, and those that it starts from then on, into such a network, whose name server is awaited
/// at 127.0.0.1. Empty when that is done, else why this machine does not allow it. Once done it is done.
[[nodiscard]] std::string enter_own_network();

/// What a name server does with a question.
struct NameAnswer {
  enum Kind { ADDRESSES, NO_SUCH_NAME, FAILURE, NONSENSE, SILENCE };

  Kind kind = ADDRESSES;
  std::vector<std::string> addresses = {};  ///< IPv4
};

/// A name server at 127.0.0.1. Knows no IPv6 addresses.
class NameServer {
 public:
  NameServer();
  ~NameServer();
  NameServer(const NameServer&) = delete;
  NameServer& operator=(const NameServer&) = delete;

  /// The first question for addresses of `name` gets the first answer, and so on; the last one stays.
  void on(const std::string& name, std::vector<NameAnswer> answers);

 private:
  void serve();
  [[nodiscard]] NameAnswer answer_for(const std::string& name, unsigned type);

  int _socket = -1;
  std::mutex _mutex;
  std::map<std::string, std::vector<NameAnswer>> _answers;
  std::thread _thread;
};

}  // namespace quillmere::testing
