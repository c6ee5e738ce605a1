// Preloaded into a program, makes its system calls on one file fail. io_sweep.py and the transcripts use it.
//
// FAILING_FILES="CALL NAME FIRST COUNT RESULT": the calls of one kind (read, write, sync, rename) on the
// files whose path ends with NAME are counted, from 1. COUNT calls from number FIRST on (0: all of them)
// yield RESULT: an errno; or "shorten SIZE", which truncates the file before the call; or "wait PIPE", which
// opens the named pipe, writes a byte into it, and waits until its reader closes it. FAILING_FILES_LOG, if
// set, names a file for the number of the calls.
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

struct Plan {
  char call[16] = "";
  char name[256] = "";
  unsigned first = 0;
  unsigned count = 0;
  char result[16] = "";
  char argument[256] = "";
};

Plan plan;
std::atomic<unsigned> calls{0};

struct Begin {
  Begin() {
    const char* text = std::getenv("FAILING_FILES");
    if (text == nullptr) return;
    std::sscanf(text, "%15s %255s %u %u %15s %255s", plan.call, plan.name, &plan.first, &plan.count,
                plan.result, plan.argument);
  }
  ~Begin() {
    const char* log = std::getenv("FAILING_FILES_LOG");
    std::FILE* file = log == nullptr ? nullptr : std::fopen(log, "w");
    if (file == nullptr) return;
    std::fprintf(file, "%u\n", calls.load());
    std::fclose(file);
  }
} begin;

bool is_named(const std::string& path) {
  const std::string_view name = plan.name;
  return !name.empty() && path.size() >= name.size() && path.ends_with(name);
}

std::string path_of(int file) {
  char path[4096];
  const std::string link = "/proc/self/fd/" + std::to_string(file);
  const ssize_t length = readlink(link.c_str(), path, sizeof path);
  return length < 0 ? std::string() : std::string(path, static_cast<size_t>(length));
}

void wait_for_reader() {
  const int pipe = open(plan.argument, O_WRONLY | O_CLOEXEC);
  if (pipe < 0 || write(pipe, "x", 1) != 1) return;
  pollfd reader{pipe, 0, 0};
  while (poll(&reader, 1, -1) != 1) continue;
  close(pipe);
}

// True if the call fails, with errno.
bool fails(const char* call, const std::string& path) {
  if (std::strcmp(call, plan.call) != 0 || !is_named(path)) return false;
  const unsigned number = ++calls;
  if (number < plan.first || (plan.count != 0 && number >= plan.first + plan.count)) return false;
  if (std::strcmp(plan.result, "wait") == 0) {
    wait_for_reader();
    return false;
  }
  if (std::strcmp(plan.result, "shorten") == 0) return truncate(path.c_str(), std::atol(plan.argument)) != 0;
  errno = std::atoi(plan.result);
  return true;
}

template <class Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

// The calls with 64 in their names take offsets of 64 bits, as off_t is in this tree.
ssize_t pread(int file, void* buffer, size_t count, off_t offset) {
  static const auto real = next<decltype(&pread)>("pread64");
  return fails("read", path_of(file)) ? -1 : real(file, buffer, count, offset);
}

ssize_t pwrite(int file, const void* buffer, size_t count, off_t offset) {
  static const auto real = next<decltype(&pwrite)>("pwrite64");
  return fails("write", path_of(file)) ? -1 : real(file, buffer, count, offset);
}

ssize_t pwritev(int file, const iovec* parts, int count, off_t offset) {
  static const auto real = next<decltype(&pwritev)>("pwritev64");
  return fails("write", path_of(file)) ? -1 : real(file, parts, count, offset);
}

// In a 32-bit program, these are the names of the functions above.
#ifndef __USE_FILE_OFFSET64
ssize_t pread64(int file, void* buffer, size_t count, off_t offset) {
  return pread(file, buffer, count, offset);
}

ssize_t pwritev64(int file, const iovec* parts, int count, off_t offset) {
  return pwritev(file, parts, count, offset);
}

ssize_t pwrite64(int file, const void* buffer, size_t count, off_t offset) {
  return pwrite(file, buffer, count, offset);
}
#endif

int fsync(int file) {
  static const auto real = next<decltype(&fsync)>("fsync");
  return fails("sync", path_of(file)) ? -1 : real(file);
}

int renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) {
  static const auto real = next<decltype(&renameat2)>("renameat2");
  return fails("rename", from) ? -1 : real(from_folder, from, to_folder, to, flags);
}

int rename(const char* from, const char* to) noexcept {
  static const auto real = next<decltype(&rename)>("rename");
  return fails("rename", from) ? -1 : real(from, to);
}

}  // extern "C"
#pragma GCC visibility pop
