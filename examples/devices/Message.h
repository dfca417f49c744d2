// What goes through the socket between the preloaded devices and the server.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace devices {

/// A command to a logical unit, or its result.
struct Message {
  unsigned number = 0;               ///< logical unit number; status
  std::vector<unsigned char> block;  ///< CDB; sense
  std::vector<unsigned char> data;
};

/// Calls send() or recv() until all bytes are through.
template <typename Call, typename Byte>
void transfer(Call call, int socket, Byte* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t count = call(socket, bytes, size, MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) throw std::runtime_error("the connection is closed");
    bytes += count;
    size -= static_cast<std::size_t>(count);
  }
}

inline void sendMessage(int socket, const Message& message) {
  const std::size_t head[] = {message.number, message.block.size(), message.data.size()};
  transfer(::send, socket, reinterpret_cast<const char*>(head), sizeof head);
  transfer(::send, socket, message.block.data(), message.block.size());
  transfer(::send, socket, message.data.data(), message.data.size());
}

inline Message receiveMessage(int socket) {
  std::size_t head[3];
  transfer(::recv, socket, reinterpret_cast<char*>(head), sizeof head);
  Message message;
  message.number = static_cast<unsigned>(head[0]);
  message.block.resize(head[1]);
  message.data.resize(head[2]);
  transfer(::recv, socket, message.block.data(), head[1]);
  transfer(::recv, socket, message.data.data(), head[2]);
  return message;
}

/// Of the server, from the environment.
inline sockaddr_un serverAddress() {
  const char* const path = std::getenv("TQ_SCSI_SOCKET");
  if (path == nullptr) throw std::runtime_error("TQ_SCSI_SOCKET is not set");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
  return address;
}

}  // namespace devices
