// How a named object lives exactly as long as some process has it open, however those processes end.
//
// Each process that has the object open holds a shared flock on `<stem>.lock`; the system drops it with the
// process. Whoever opens or closes first takes the gate (an exclusive record lock on the same file), because
// turning a flock from exclusive to shared is not one step. Behind the gate, getting an exclusive flock
// proves that nobody is alive: the state file `<stem>.shm` is then stale.
#pragma once

#include <string>

#include "platform/win32/win32_types.h"

namespace zdr::platform {

class LifeLine {
 public:
  LifeLine() noexcept = default;
  LifeLine(LifeLine&& other) noexcept;
  LifeLine& operator=(LifeLine&& other) noexcept;
  // Leaves: the last process out removes both files.
  ~LifeLine();

  // Opens the lock file (making it when `create`) and takes the gate, waiting for it. ERROR_FILE_NOT_FOUND
  // when there is none to open.
  DWORD enter(int folder, const std::string& stem, bool create);

  // Behind the gate: nobody else is alive. The caller is then the only user until it joins or leaves.
  bool is_alone() noexcept;

  // Descriptor of the state file, made anew or opened; -1 with errno.
  int create_state(size_t bytes) noexcept;
  int open_state() noexcept;

  // Counts this process among the living and drops the gate.
  void join() noexcept;

 private:
  int folder_ = -1;
  int lock_ = -1;
  std::string lock_name_;
  std::string state_name_;
};

}  // namespace zdr::platform
