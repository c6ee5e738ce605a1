// A child process of a two-process test: the test program itself, started in a role, answering one line per
// command.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zdr::platform::test {

class ChildProcess {
 public:
  // Starts /proc/self/exe in `role`; the child inherits the environment, and so the runtime folder.
  // `environment` adds "NAME=value" entries.
  explicit ChildProcess(const std::string& role, const std::vector<std::string>& environment = {});
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  void send(const std::string& line);
  // Blocks; empty when the child is gone.
  std::string receive();
  std::string ask(const std::string& line) {
    send(line);
    return receive();
  }

  int pid() const { return pid_; }
  void kill_hard();  // SIGKILL, and waits until it is gone

 private:
  int pid_ = -1;
  int to_child_ = -1;
  int from_child_ = -1;
};

// The environment variable that makes the test program a child.
constexpr const char* kRoleVariable = "ZDR_TEST_ROLE";

// Creates, closes and deletes `name` a number of times: how often it was refused although it is new each
// time.
uint32_t create_and_delete(const std::string& name, int times);

// Runs the role: commands from standard input, answers to standard output. Defined in child_roles.cpp.
int run_child_role(const std::string& role);

}  // namespace zdr::platform::test
