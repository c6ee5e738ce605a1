// A child process of a two-process test: the test program itself, which replies with one line per command.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zdr::test {

class ChildProcess {
 public:
  // The child inherits the environment, and so the runtime folder. `environment` adds "NAME=value" entries.
  explicit ChildProcess(std::vector<std::string> environment = {});
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  void send(const std::string& line);
  // Blocks; empty when the child has ended.
  std::string receive();
  std::string call(const std::string& line) {
    send(line);
    return receive();
  }
  // Whether the child has sent something that was not received yet.
  bool has_replied() const;

  int pid() const { return pid_; }
  void kill_hard();  // SIGKILL, and waits until the child is gone

 private:
  int pid_ = -1;
  int to_child_ = -1;
  int from_child_ = -1;
};

// Set to 1 for a child: main then runs the commands instead of the tests.
constexpr const char* kChildVariable = "ZDR_TEST_CHILD";

// Creates, closes and deletes `name` a number of times. Returns how often a creation was refused.
uint32_t create_and_delete(const std::string& name, int times);

// Runs the commands from standard input and writes the replies to standard output. Defined in
// child_commands.cpp.
int run_child();

}  // namespace zdr::test
