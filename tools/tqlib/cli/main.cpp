// tqlib: the operator's tool for virtual tape libraries and their volumes. Runs the chosen command,
// and turns exceptions into messages and exit codes: 0 done, 1 refused or
// failed, 2 wrong usage. A transfer that a signal stops ends by that signal.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <new>
#include <string_view>

#include <xercesc/util/PlatformUtils.hpp>

#include "base/Screen.h"
#include "catalogue/Configuration.h"
#include "cli/Commands.h"

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

int complain(const Failure& failure, bool json) {
  const std::string next = failure.next.empty() ? adviceOn(failure.what()) : failure.next;
  if (json) {
    printResult(true,
                {{"error", {{"code", failure.code}, {"text", failure.what()}, {"next", next}}}}, "",
                std::cerr);
    return kFailed;
  }
  std::cerr << coloured("tqlib:", Colour::Red, STDERR_FILENO) << ' ' << failure.what() << std::endl;
  if (!next.empty()) {
    std::cerr << coloured("next:", Colour::Yellow, STDERR_FILENO) << ' ' << next << std::endl;
  }
  return kFailed;
}

/// Wrong usage: names the command, as far as its words were understood.
int refuse(const CLI::App& app, const std::string& text) {
  std::string command = app.get_name();
  for (const CLI::App* at = &app; !at->get_subcommands().empty();) {
    at = at->get_subcommands().front();
    command += ' ' + at->get_name();
  }
  complain(Failure(text, fmt::format("\"{} --help\" shows what it takes", command)), false);
  return kWrongUsage;
}

// CLI11 reports help as an error with exit code 0, also behind a word that is not a command.
// Without help, it only reports that a command is missing.
int explain(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> unknown = app.remaining(true);
  if (!unknown.empty()) return refuse(app, "unknown command or argument: " + unknown.front());
  if (error.get_exit_code() != 0) return refuse(app, error.what());
  app.exit(error);
  return std::cout.flush() ? kDone : kFailed;
}

// "tqlib help library list" is "tqlib library list --help".
void takeHelpForAnOption(int argc, char** argv) {
  static char help[] = "--help";
  if (argc < 2 || std::string_view(argv[1]) != "help") return;
  std::copy(argv + 2, argv + argc, argv + 1);
  argv[argc - 1] = help;
}

int run(int argc, char** argv) {
  xercesc::XMLPlatformUtils::Initialize();  // for the catalogue files that the tool reads itself
  CLI::App app("Virtual tape libraries: catalogue and volumes", "tqlib");
  Session session;
  try {
    declareCommands(app, session);
    takeHelpForAnOption(argc, argv);
    app.parse(argc, argv);
    if (session.needsConfiguration) useConfiguration(session.config);
    session.action();
    return kDone;
  } catch (const CLI::ParseError& error) {
    return explain(app, error);
  } catch (const UsageError& error) {
    return refuse(app, error.what());
  } catch (const Interrupted& stop) {
    complain(stop, session.json);
    endBySignal(stop.signal);
  } catch (const SilentFailure&) {
    return kFailed;
  } catch (const Failure& failure) {
    return complain(failure, session.json);
  } catch (const std::bad_alloc&) {
    return complain(Failure("out of memory"), session.json);
  } catch (const std::filesystem::filesystem_error& error) {
    return complain(systemFailure(error.path1().string(), error.code().value()), session.json);
  } catch (const std::exception& error) {
    return complain(Failure(error.what()), session.json);
  }
}

// A file that is opened later would get the number of a closed standard stream and be used as that
// stream. A placeholder is opened for the wrong direction, so its use fails as a closed stream's.
void occupyClosedStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (fcntl(stream, F_GETFD) < 0) {
      open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  occupyClosedStreams();
  try {
    return run(argc, argv);
  } catch (...) {
    return kFailed;  // not even a message could be printed
  }
}
