// How the host treats exhausted memory: std::bad_alloc inside, a status in its COM methods and at the
// interfaces and libraries that it calls, a message to the user.
#pragma once

#include <windows.h>

#include <new>
#include <string>
#include <vector>

#include "host/exit_code.h"
#include "host/messages.h"

namespace zdr::host {

// Thrown when the system's limit of open files is reached, which the module and the libraries report as
// exhausted memory.
class TooManyFiles : public std::bad_alloc {
 public:
  explicit TooManyFiles(int system_error) : system_error_(system_error) {}
  int system_error() const { return system_error_; }

 private:
  int system_error_;
};

// Throws TooManyFiles if no more files can be opened, else std::bad_alloc.
[[noreturn]] void throw_exhausted();

// Returns the status of a COM method, unless that is E_OUTOFMEMORY: then throws std::bad_alloc.
inline HRESULT with_memory(HRESULT hr) {
  if (hr == E_OUTOFMEMORY) throw_exhausted();
  return hr;
}
// The same for a status of the libraries, each of which has a code of its own for exhausted memory.
inline int32_t with_memory(int32_t status, int32_t no_memory) {
  if (status == no_memory) throw_exhausted();
  return status;
}

// Limits the memory of the program to what the largest of these files may take: four times its size, but at
// least 64 MiB.
void limit_memory(const std::vector<std::string>& files);

// The message for an exception that reports exhausted memory or files.
Message exhausted(const std::string& file, const std::bad_alloc& error);

// Returns what `body` returns. Reports exhausted memory as an error of the file and returns `failure`.
template <class Body>
ExitCode report_memory(const std::string& file, Messages& messages, Body body,
                       ExitCode failure = ExitCode::kCannotOpen) {
  try {
    return body();
  } catch (const std::bad_alloc& error) {
    messages.error(exhausted(file, error));
    return failure;
  }
}

}  // namespace zdr::host
