// Starts the executable of this process again.
#include "platform/win32/worker_process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

#include "platform/win32/runtime/descriptor.h"
#include "platform/win32/runtime/system_calls.h"

namespace zdr::platform {

namespace {

struct Pipe {
  Descriptor reader;
  Descriptor writer;

  // Neither end is inherited by processes that are started later.
  int open() noexcept {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return errno;
    reader = Descriptor(ends[0]);
    writer = Descriptor(ends[1]);
    return 0;
  }
};

class Redirections {
 public:
  Redirections() { posix_spawn_file_actions_init(&actions_); }
  ~Redirections() { posix_spawn_file_actions_destroy(&actions_); }
  Redirections(const Redirections&) = delete;
  Redirections& operator=(const Redirections&) = delete;
  int add(int descriptor, int as) { return posix_spawn_file_actions_adddup2(&actions_, descriptor, as); }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

}  // namespace

WorkerProcess::~WorkerProcess() {
  end();
}

int WorkerProcess::start(const std::vector<std::string>& arguments) {
  end();
  Pipe to;
  Pipe from;
  if (const int error = to.open(); error != 0) return error;
  if (const int error = from.open(); error != 0) return error;
  Redirections redirections;
  if (const int error = redirections.add(to.reader.get(), STDIN_FILENO); error != 0) return error;
  if (const int error = redirections.add(from.writer.get(), STDOUT_FILENO); error != 0) return error;
  std::string program = "/proc/self/exe";
  std::vector<std::string> words = arguments;
  std::vector<char*> argv{program.data()};
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  pid_t process = 0;
  const int error = posix_spawn(&process, program.c_str(), redirections.get(), nullptr, argv.data(), environ);
  if (error != 0) return error;
  process_ = process;
  input_ = to.writer.release();
  output_ = from.reader.release();
  return 0;
}

int WorkerProcess::send(std::string_view bytes) noexcept {
  while (!bytes.empty()) {
    const ssize_t written = repeat_interrupted([&] { return write(input_, bytes.data(), bytes.size()); });
    if (written < 0) return errno;
    bytes.remove_prefix(static_cast<size_t>(written));
  }
  return 0;
}

bool WorkerProcess::receive(std::string& received) {
  std::array<char, 65536> block;
  const ssize_t got = repeat_interrupted([&] { return read(output_, block.data(), block.size()); });
  if (got <= 0) return false;
  received.append(block.data(), static_cast<size_t>(got));
  return true;
}

void WorkerProcess::end() noexcept {
  if (!is_running()) return;
  close(std::exchange(input_, -1));
  close(std::exchange(output_, -1));
  repeat_interrupted([this] { return waitpid(process_, nullptr, 0); });
  process_ = 0;
}

void WorkerProcess::kill() noexcept {
  if (is_running()) ::kill(process_, SIGKILL);
  end();
}

WorkerProcess* WorkerProcess::wait_any(std::span<WorkerProcess* const> workers, int timeout_ms) {
  std::vector<pollfd> outputs;
  for (const WorkerProcess* worker : workers) outputs.push_back({worker->output_, POLLIN, 0});
  if (poll(outputs.data(), outputs.size(), timeout_ms) <= 0) return nullptr;
  for (size_t i = 0; i < outputs.size(); ++i) {
    if (outputs[i].revents != 0) return workers[i];
  }
  return nullptr;
}

}  // namespace zdr::platform
