// Runs the operator's tool as an operator does, in a folder of the test's own with an empty store.
#pragma once

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>

#include <cstdlib>

#include "TempCatalogue.h"

namespace tests {

using testing::HasSubstr;
using testing::Not;

class ToolRun : public testing::Test {
protected:
  struct Result {
    int exitCode;
    std::string out;
    std::string err;
  };

  ToolRun() { expectDone("init store --volume-size-mb 1"); }

  fs::path path(const std::string& name) const { return m_folder.path() / name; }

  /// Shell text that runs a command with the store's configuration.
  std::string inFolder(const std::string& command) const {
    return "cd '" + m_folder.path().string() +
           "' && unset TQ_PLATFORM_LOG && export TQ_PLATFORM_CONFIG=store/tqlib.ini && " +
           m_limits + command + " >out 2>err";
  }
  Result run(const std::string& command) const {
    const int status = std::system(inFolder(command).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(path("out")),
            readFile(path("err"))};
  }
  // `arguments` is shell text, so that a test reads as what is typed.
  Result tqlib(const std::string& arguments) const {
    return run("'" TQLIB_BINARY "' " + arguments);
  }

  /// The JSON that a command prints.
  nlohmann::json ask(const std::string& arguments) const {
    return nlohmann::json::parse(tqlib(arguments + " --json").out, nullptr, false);
  }
  /// The values of these keys in each object of a list in that JSON, as "1/A 2/B ".
  std::string listed(const std::string& list, const std::vector<const char*>& keys,
                     const std::string& arguments) const {
    std::string text;
    const nlohmann::json answer = ask(arguments);
    for (const nlohmann::json& object : answer.at(list)) {
      for (const char* key : keys) {
        const nlohmann::json value = object.value(key, nlohmann::json());
        text += (value.is_string() ? value.get<std::string>() : value.dump()) + "/";
      }
      text.back() = ' ';
    }
    return text;
  }

  void expectDone(const std::string& arguments) const {
    const Result result = tqlib(arguments);
    EXPECT_EQ(result.exitCode, 0) << arguments << "\n" << result.err;
  }
  void expectRefused(int exitCode, const std::string& arguments, const std::string& reason) const {
    const Result result = tqlib(arguments);
    EXPECT_EQ(result.exitCode, exitCode) << arguments << "\n" << result.err;
    EXPECT_NE(result.err.find(reason), std::string::npos) << arguments << "\n" << result.err;
    EXPECT_EQ(result.out, "") << arguments;
  }

  fs::path libraryFile(const std::string& library) const {
    return path("store/LibEmulator/Lib_" + library + ".xml");
  }
  void makeLibrary(const std::string& serial) const {
    expectDone("library create " + serial + " --host HOST1 --drives 2 --slots 3 --mail-slots 2");
  }

  // From now on a file can grow to one block only, which no library's file fits in. A process that
  // does not ignore the signal would be killed instead.
  void letSavesFail() { m_limits = "trap '' XFSZ && ulimit -f 1 && "; }

private:
  TempFolder m_folder;
  std::string m_limits;  // shell text before the command
};

}  // namespace tests
