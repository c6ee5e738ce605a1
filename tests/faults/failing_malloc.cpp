// Preloaded into a program, runs its main() once for each allocation that is to fail, each time in a child
// process that is forked before main(), in a folder of its own. memory_sweep.py uses it and describes the
// results.
//
// FAILING_MALLOC="FIRST STEP LAST MODE SECONDS": the numbers of the allocations, counted from the start of
// main() over all threads; MODE is "once", or "lasting" if all later ones fail too. A child that is still
// running after SECONDS is killed. Allocation 0 never fails. A child writes to the files `out` and `err` of
// the folder NUMBER, has the folder as its current one and keeps its registry there. Prints "NUMBER STATUS
// COUNT PEAK" for each child: its exit code, or minus the signal that ended it, the number of its
// allocations, and the most memory in KiB that it had at a time. Ends after the first number that was not
// reached.
#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
}

namespace {

using Main = int (*)(int, char**, char**);

// In memory that parent and child share.
std::atomic<uint64_t>* allocations = nullptr;
uint64_t failing = 0;
bool lasting = false;
Main real_main = nullptr;

bool fails() {
  if (allocations == nullptr) return false;
  const uint64_t number = ++*allocations;
  if (failing == 0 || number < failing || (number > failing && !lasting)) return false;
  errno = ENOMEM;
  return true;
}

int run_child(uint64_t number, int argc, char** argv, char** environment) {
  char folder[32];
  std::snprintf(folder, sizeof folder, "%llu", static_cast<unsigned long long>(number));
  if (mkdir(folder, 0700) != 0 || chdir(folder) != 0) _exit(120);
  static char current[4096];
  if (getcwd(current, sizeof current - 32) == nullptr) _exit(120);
  setenv("ZDR_REGISTRY", std::strcat(current, "/registry.reg"), 1);
  dup2(open("out", O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
  dup2(open("err", O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
  failing = number;
  *allocations = 0;
  return real_main(argc, argv, environment);
}

// Returns the exit code, or minus the signal.
int status_of(pid_t child, int seconds, rusage& usage) {
  pollfd end{static_cast<int>(syscall(SYS_pidfd_open, child, 0)), POLLIN, 0};
  if (poll(&end, 1, seconds * 1000) == 0) kill(child, SIGKILL);
  close(end.fd);
  int status = 0;
  wait4(child, &status, 0, &usage);
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

int run_all(int argc, char** argv, char** environment) {
  unsigned long long number = 0;
  unsigned long long step = 0;
  unsigned long long last = 0;
  char mode[16] = "";
  int seconds = 0;
  const char* const plan = std::getenv("FAILING_MALLOC");
  if (plan == nullptr ||
      std::sscanf(plan, "%llu %llu %llu %15s %d", &number, &step, &last, mode, &seconds) != 5) {
    return 121;
  }
  lasting = std::strcmp(mode, "lasting") == 0;
  void* const shared =
      mmap(nullptr, sizeof *allocations, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  auto* const count = static_cast<std::atomic<uint64_t>*>(shared);
  for (; number <= last; number += step) {
    std::fflush(stdout);
    *count = 0;
    const pid_t child = fork();
    if (child == 0) {
      allocations = count;
      return run_child(number, argc, argv, environment);
    }
    rusage usage{};
    const int status = status_of(child, seconds, usage);
    std::printf("%llu %d %llu %ld\n", number, status, static_cast<unsigned long long>(count->load()),
                usage.ru_maxrss);
    if (number > count->load()) break;
  }
  std::fflush(stdout);
  _exit(0);  // the program's own destructors have nothing to destroy
}

}  // namespace

extern "C" {

void* malloc(size_t size) noexcept {
  return fails() ? nullptr : __libc_malloc(size);
}
void* calloc(size_t count, size_t size) noexcept {
  return fails() ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* memory, size_t size) noexcept {
  return fails() ? nullptr : __libc_realloc(memory, size);
}
void* memalign(size_t alignment, size_t size) noexcept {
  return fails() ? nullptr : __libc_memalign(alignment, size);
}
void* aligned_alloc(size_t alignment, size_t size) noexcept {
  return memalign(alignment, size);
}
int posix_memalign(void** memory, size_t alignment, size_t size) noexcept {
  void* const block = memalign(alignment, size);
  if (block != nullptr) *memory = block;
  return block != nullptr ? 0 : ENOMEM;
}

int __libc_start_main(Main main, int argc, char** argv, void (*initialise)(), void (*finish)(),
                      void (*at_exit)(), void* stack_end) {
  using Start = int (*)(Main, int, char**, void (*)(), void (*)(), void (*)(), void*);
  const auto start = reinterpret_cast<Start>(dlsym(RTLD_NEXT, "__libc_start_main"));
  real_main = main;
  return start(run_all, argc, argv, initialise, finish, at_exit, stack_end);
}
}
