// Has the target, as an emulator's process, while a command runs whose programs use the devices:
//
//   TQ_SCSI_SOCKET=socket ./server LIBRARY COMMAND
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <thread>

#include "Message.h"
#include "../scsi/Target.h"

namespace {

// All programs run on one host, so they share its unit attentions.
void serve(scsi::Target& target, int socket) {
  try {
    for (;;) {
      devices::Message command = devices::receiveMessage(socket);
      scsi::Result result = target.execute(
          {"host", command.number, std::move(command.block), std::move(command.data)});
      devices::sendMessage(socket, {static_cast<unsigned>(result.status), std::move(result.sense),
                                    std::move(result.data)});
    }
  } catch (const std::exception&) {  // the program closed its device
    close(socket);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: TQ_SCSI_SOCKET=SOCKET server LIBRARY COMMAND\n";
    return 2;
  }
  try {
    scsi::Target target(argv[1]);
    const sockaddr_un address = devices::serverAddress();
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener, 16) != 0) {
      throw std::runtime_error("cannot listen");
    }
    std::thread([&] {
      for (;;) {
        const int socket = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket >= 0) std::thread(serve, std::ref(target), socket).detach();
      }
    }).detach();
    const int status = std::system(argv[2]);
    std::_Exit(WIFEXITED(status) ? WEXITSTATUS(status) : 1);  // the threads use the target
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
  }
}
