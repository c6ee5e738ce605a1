// Other processes of this program, each with a pipe to its standard input and one from its standard output.
// What they share with this process are the working folder, the environment and standard error.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "win32_types.h"

namespace zdr::platform {

// For one thread. The functions that return int return 0 or an errno.
class WorkerProcess {
 public:
  WorkerProcess() = default;
  // The same as end().
  ZDR_PLATFORM_API ~WorkerProcess();
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;

  // Starts this program with `arguments`, without its name. Ends an earlier process of the object.
  ZDR_PLATFORM_API int start(const std::vector<std::string>& arguments);
  bool is_running() const { return process_ > 0; }
  // Writes all bytes to the standard input of the process. EPIPE if it has ended.
  ZDR_PLATFORM_API int send(std::string_view bytes) noexcept;
  // Appends what the process has written so far to `received`; waits if that is nothing. False at the end of
  // its output.
  ZDR_PLATFORM_API bool receive(std::string& received);
  // Closes both pipes and waits for the end of the process.
  ZDR_PLATFORM_API void end() noexcept;
  // Ends the process at once.
  ZDR_PLATFORM_API void kill() noexcept;

  // Waits until receive() on one of the processes would not wait, but at most `timeout_ms`, and returns
  // which; null after the time, or after a signal.
  ZDR_PLATFORM_API static WorkerProcess* wait_any(std::span<WorkerProcess* const> workers, int timeout_ms);

 private:
  int process_ = 0;
  int input_ = -1;
  int output_ = -1;
};

}  // namespace zdr::platform
