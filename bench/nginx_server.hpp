#pragma once

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>

/// nginx with one worker that sends files from loopback, where nginx is installed: a server that many sites have.
namespace quillmere::bench {

class NginxServer {
 public:
  /// Serves `/N` as N bytes of text, for each of `sizes`, until this object ends.
  NginxServer(const std::filesystem::path& directory, const std::vector<std::size_t>& sizes) : _directory(directory) {
    std::filesystem::create_directories(directory / "www");
    for (const std::size_t size : sizes)
      std::ofstream(directory / "www" / std::to_string(size)) << std::string(size, 'x');
    const int port = free_port();
    _origin = "http://127.0.0.1:" + std::to_string(port);
    std::ofstream(directory / "nginx.conf")
        << "worker_processes 1; daemon off; master_process off; pid nginx.pid; error_log error.log;\n"
           "events { worker_connections 1024; }\n"
           "http { access_log off; sendfile on; tcp_nopush on; default_type text/html; keepalive_requests 1000000;\n"
           "  server { listen 127.0.0.1:"
        << port << "; root www; } }\n";
    const std::string prefix = directory.string() + "/";
    _process = fork();
    if (_process == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      execlp("nginx", "nginx", "-p", prefix.c_str(), "-c", "nginx.conf", "-e", "error.log", nullptr);
      _exit(127);
    }
    for (int wait = 0; wait < 100 && !answers(port); ++wait) usleep(20'000);
  }
  NginxServer(const NginxServer&) = delete;
  NginxServer& operator=(const NginxServer&) = delete;
  ~NginxServer() {
    kill(_process, SIGTERM);
    waitpid(_process, nullptr, 0);
    std::filesystem::remove_all(_directory);
  }

  [[nodiscard]] const std::string& origin() const noexcept { return _origin; }

 private:
  static sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
  }

  static int free_port() {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    bind(socket, reinterpret_cast<sockaddr*>(&address), length);
    getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    close(socket);
    return ntohs(address.sin_port);
  }

  static bool answers(int port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    const bool is_there = connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(socket);
    return is_there;
  }

  std::filesystem::path _directory;
  std::string _origin;
  pid_t _process = -1;
};

}  // namespace quillmere::bench
