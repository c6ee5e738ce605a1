// Starts and kills child processes, and exchanges lines with them.
#include "child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace zdr::test {

ChildProcess::ChildProcess(std::vector<std::string> environment) {
  int down[2];
  int up[2];
  if (pipe2(down, O_CLOEXEC) != 0 || pipe2(up, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
  environment.emplace_back("ZDR_TEST_CHILD=1");
  for (char** entry = environ; *entry != nullptr; ++entry) environment.emplace_back(*entry);
  std::vector<char*> pointers;
  for (std::string& entry : environment) pointers.push_back(entry.data());
  pointers.push_back(nullptr);
  char path[] = "/proc/self/exe";
  char* arguments[] = {path, nullptr};

  pid_ = fork();
  if (pid_ == 0) {
    dup2(down[0], STDIN_FILENO);
    dup2(up[1], STDOUT_FILENO);
    execve(path, arguments, pointers.data());
    _exit(127);
  }
  close(down[0]);
  close(up[1]);
  to_child_ = down[1];
  from_child_ = up[0];
}

ChildProcess::~ChildProcess() {
  close(to_child_);  // the child ends with its input
  close(from_child_);
  if (pid_ > 0) waitpid(pid_, nullptr, 0);
}

void ChildProcess::send(const std::string& line) {
  const std::string whole = line + "\n";
  if (write(to_child_, whole.data(), whole.size()) != static_cast<ssize_t>(whole.size())) {
    throw std::runtime_error("the child does not read its commands");
  }
}

std::string ChildProcess::receive() {
  std::string line;
  char c;
  while (read(from_child_, &c, 1) == 1 && c != '\n') line += c;
  return line;
}

bool ChildProcess::has_replied() const {
  pollfd reply = {from_child_, POLLIN, 0};
  return ::poll(&reply, 1, 0) == 1;
}

void ChildProcess::kill_hard() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

}  // namespace zdr::test
