// LifeLine keeps the file of a named event exactly as long as some process has the event open, however those
// processes end.
//
// Each process that has the event open holds a shared flock on its file; the kernel drops the flock with the
// process. A process that opens or closes an event first takes the gate (an exclusive record lock on the
// first byte of the same file), because turning a flock from exclusive to shared is not one step. With the
// gate taken, getting an exclusive flock proves that no process has the event open: the content of the file
// is then stale.
#pragma once

#include <string>

#include "platform/win32/runtime/descriptor.h"
#include "platform/win32/win32_types.h"

namespace zdr::platform {

class LifeLine {
 public:
  LifeLine() noexcept = default;
  LifeLine(LifeLine&& other) noexcept = default;
  LifeLine& operator=(LifeLine&&) = delete;
  // Ends this process's use of the event. The last process removes the file.
  ~LifeLine();

  // Opens or makes the file `name` in `folder` and takes the gate, waiting for it.
  DWORD enter(int folder, const std::string& name);

  // With the gate taken: true if no other process has the event open. The caller is then the only user until
  // it joins or leaves.
  bool is_alone() noexcept;

  // Counts this process as a user and opens the gate.
  void join() noexcept;

  int file() const noexcept { return file_.get(); }

  // Removes the files in `folder` that no living process uses. Passes over files whose gate is taken.
  static void remove_stale_files(int folder);

 private:
  int folder_ = -1;
  std::string name_;
  Descriptor file_;
};

}  // namespace zdr::platform
