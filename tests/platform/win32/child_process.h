// A child process of a two-process test: the test program itself, which replies with one line per command.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace zdr::test {

// Set to 1 for a child: main then runs the commands instead of the tests.
constexpr const char* kChildVariable = "ZDR_TEST_CHILD";

class ChildProcess {
 public:
  // The child inherits the environment, and so the runtime folder. `environment` adds "NAME=value" entries.
  explicit ChildProcess(std::vector<std::string> environment = {}) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) throw std::runtime_error("socketpair");
    pid_ = fork();
    if (pid_ == 0) {
      for (std::string& entry : environment) putenv(entry.data());
      setenv(kChildVariable, "1", 1);
      for (const int stream : {STDIN_FILENO, STDOUT_FILENO}) dup2(ends[1], stream);
      execl("/proc/self/exe", "child", nullptr);
      _exit(127);
    }
    close(ends[1]);
    socket_ = ends[0];
  }
  ~ChildProcess() {
    close(socket_);  // the child ends with its input
    if (pid_ > 0) waitpid(pid_, nullptr, 0);
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  void send(const std::string& line) {
    const std::string whole = line + "\n";
    if (write(socket_, whole.data(), whole.size()) != static_cast<ssize_t>(whole.size())) {
      throw std::runtime_error("the child does not read its commands");
    }
  }
  // Blocks; empty if the child has ended.
  std::string receive() {
    std::string line;
    char c;
    while (read(socket_, &c, 1) == 1 && c != '\n') line += c;
    return line;
  }
  std::string call(const std::string& line) {
    send(line);
    return receive();
  }
  // True if the child has sent something that was not received yet.
  bool has_replied() const {
    pollfd reply = {socket_, POLLIN, 0};
    return ::poll(&reply, 1, 0) == 1;
  }

  int pid() const { return pid_; }
  // SIGKILL, and waits until the child is gone.
  void kill_hard() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

 private:
  int pid_ = -1;
  int socket_ = -1;
};

// Creates, closes and deletes `name` a number of times. Returns how often a creation was refused.
uint32_t create_and_delete(const std::string& name, int times);

// Runs the commands from standard input and writes the replies to standard output. Both are defined in
// child_commands.cpp.
int run_child();

}  // namespace zdr::test
