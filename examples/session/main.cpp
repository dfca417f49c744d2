// Runs a session: reads a command a line from standard input, and writes it with its answer. What
// is behind " = " in a line is left out, so that a session can be compared with what it prints.
#include <iostream>

#include "Session.h"

int main() {
  if (!Session::makeLibrary()) {
    std::cerr << "The library cannot be made; see the log\n";
    return 1;
  }
  Session session("LIB1");
  for (std::string line; std::getline(std::cin, line);) {
    const std::string command = line.substr(0, line.find(" = "));
    const bool isCommand = !command.empty() && command[0] != '#';
    std::cout << command << (isCommand ? " = " + session.answer(command) : "") << std::endl;
  }
}
