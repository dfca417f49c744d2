// Has the target, as an emulator's process, while a command runs whose programs use the devices:
//
//   TQ_SCSI_SOCKET=socket ./server LIBRARY COMMAND
#include <iostream>

#include "Server.h"
#include "../scsi/Target.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: TQ_SCSI_SOCKET=SOCKET server LIBRARY COMMAND\n";
    return 2;
  }
  try {
    scsi::Target target(argv[1]);
    devices::serveWhile(argv[2], [&](devices::Message command) {
      // All programs run on one host, so they share its unit attentions.
      scsi::Result result = target.execute(
          {"host", command.number, std::move(command.block), std::move(command.data)});
      return devices::Message{static_cast<unsigned>(result.status), std::move(result.sense),
                              std::move(result.data)};
    });
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
  }
}
