// The other end of the preloaded devices' socket.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "Message.h"

namespace devices {

/// Executes what comes through a connection until the program closes its device.
template <typename Execute>
void serve(const Execute& execute, int socket) {
  try {
    for (;;) sendMessage(socket, execute(receiveMessage(socket)));
  } catch (const std::exception&) {
    close(socket);
  }
}

/// Serves the programs of a shell command, a thread for each device, and ends with its status.
template <typename Execute>
[[noreturn]] void serveWhile(const char* command, const Execute& execute) {
  const sockaddr_un address = serverAddress();
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener, 16) != 0) {
    throw std::runtime_error("cannot listen");
  }
  std::thread([&] {
    for (;;) {
      const int socket = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
      if (socket >= 0) std::thread([&execute, socket] { serve(execute, socket); }).detach();
    }
  }).detach();
  const int status = std::system(command);
  unlink(address.sun_path);
  std::_Exit(WIFEXITED(status) ? WEXITSTATUS(status) : 1);  // the threads still use the callable
}

}  // namespace devices
