#pragma once

#include <cstdint>
#include <unordered_map>

#include <curl/curl.h>

namespace quillmere::http::internal {

/// The sockets that libcurl waits for, in an epoll set.
///
/// libcurl gives up a connection's socket at the end of each answer and takes it back for the next request. Neither
/// costs a system call here: a socket stays in the set until it is closed, or until something happens to it that
/// nobody waits for. That is safe for sockets that are opened and closed through this object; others (libcurl makes
/// some for itself, to be woken by its resolver threads) leave the set when libcurl says so.
///
/// Threads: as a standard container.
class SocketSet {
 public:
  /// `set`, an epoll descriptor, stays its owner's.
  explicit SocketSet(int set) noexcept : _set(set) {}
  SocketSet(const SocketSet&) = delete;
  SocketSet& operator=(const SocketSet&) = delete;

  /// A new socket that does not block, CURL_SOCKET_BAD when there is none to be had.
  [[nodiscard]] curl_socket_t open(int family, int type, int protocol) noexcept;

  /// Closes `socket`, whoever opened it; gives what ::close gives.
  int close(curl_socket_t socket) noexcept;

  /// Waits for `what` of `socket` from now on: CURL_POLL_IN, OUT, INOUT, or REMOVE for nothing more.
  void wait_for(curl_socket_t socket, int what) noexcept;

  /// Whether anybody waits for `socket`, to which something has happened. If not, it leaves the set.
  [[nodiscard]] bool is_waited_for(curl_socket_t socket) noexcept;

  /// Resets the connections whose port at this end is `port`.
  void cut(long port) const noexcept;

 private:
  /// Of epoll; 0 is none.
  struct Events {
    std::uint32_t wanted = 0;
    std::uint32_t in_set = 0;
  };

  void change(int operation, curl_socket_t socket, std::uint32_t events) const noexcept;

  int _set;
  std::unordered_map<curl_socket_t, Events> _sockets;  // opened here
};

}  // namespace quillmere::http::internal
