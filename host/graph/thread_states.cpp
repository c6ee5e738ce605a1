// Reads the states of threads from /proc/self/task (proc(5)).
#include "host/graph/thread_states.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "host/messages.h"

namespace zdr::host {
namespace {

// The letter after the name, which is in parentheses and may have any characters; 0 if the thread has ended.
char state_of(const std::filesystem::path& thread) {
  std::ifstream file(thread / "stat");
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const size_t name_end = text.rfind(") ");
  return name_end == std::string::npos || name_end + 2 >= text.size() ? '\0' : text[name_end + 2];
}

}  // namespace

std::string thread_states() {
  struct Count {
    char state;
    const char* name;
    uint64_t threads = 0;
  };
  Count counts[] = {{'S', " asleep"}, {'R', " running"}, {'D', " waiting for a device"}, {'T', " stopped"}};
  std::error_code code;
  const std::filesystem::path own = std::filesystem::read_symlink("/proc/thread-self", code).filename();
  for (std::filesystem::directory_iterator each("/proc/self/task", code), end; !code && each != end;
       each.increment(code)) {
    if (each->path().filename() == own) continue;
    const char state = state_of(each->path());
    for (Count& count : counts) count.threads += count.state == state ? 1 : 0;
  }
  std::string text;
  for (const Count& count : counts) {
    if (count.threads == 0) continue;
    text += (text.empty() ? "" : ", ") + counted(count.threads, "thread") + count.name;
  }
  return text;
}

}  // namespace zdr::host
