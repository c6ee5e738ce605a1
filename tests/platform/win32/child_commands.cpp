// The commands of a child process. Each returns a number: a wait result, TRUE or FALSE, or the last error of
// a call that opens or creates. Handles are named by the commands that make them.
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>

#include "child_process.h"
#include "platform/win32/session.h"
#include "registry/registry_test_support.h"
#include "tests/platform/fault_at.h"

namespace zdr::test {

namespace {

std::map<std::string, HANDLE> handles;

// The next word of a command.
template <class T = std::string>
T next(std::istream& words) {
  T word{};
  words >> word;
  return word;
}

// The rest of a command: a path, which may have blanks.
std::string last(std::istream& words) {
  std::string path;
  std::getline(words >> std::ws, path);
  return path;
}

HANDLE& handle_of(std::istream& words) {
  return handles[next(words)];
}

// NAME ACCESS SHARE PATH
DWORD open_file(std::istream& words) {
  HANDLE& handle = handle_of(words);
  const auto access = next<DWORD>(words);
  const auto share = next<DWORD>(words);
  handle = open_for(last(words), access, share);
  return GetLastError();
}

// NAME COUNT: reads COUNT bytes, one at a time, and returns the last one.
DWORD read_bytes(std::istream& words) {
  const HANDLE file = handle_of(words);
  unsigned char byte = 0;
  DWORD got = 0;
  for (int left = next<int>(words); left > 0; --left) ReadFile(file, &byte, 1, &got, nullptr);
  return byte;
}

// ROUNDS PATH: repeatedly opens the file without sharing it, and counts how often another process had it open
// too. The process that has the file open creates a marker, which must not exist yet.
DWORD compete_for_file(std::istream& words) {
  const int rounds = next<int>(words);
  const std::string path = last(words);
  const std::string marker = path + ".marker";
  DWORD intruders = 0;
  for (int won = 0; won < rounds;) {
    const HANDLE file = open_for(path, GENERIC_READ, 0);
    if (file == INVALID_HANDLE_VALUE) continue;
    const int made = open(marker.c_str(), O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (made < 0) ++intruders;
    close(made);
    unlink(marker.c_str());
    CloseHandle(file);
    ++won;
  }
  return intruders;
}

// NAME EVENT [MANUAL-RESET]
DWORD create_event(std::istream& words) {
  HANDLE& handle = handle_of(words);
  const std::u16string name = wide(next(words));
  handle = CreateEventW(nullptr, next<BOOL>(words), FALSE, name.c_str());
  return GetLastError();
}

// NAME: waits without limit. Prints "!" before the wait, so that the test can see that it is about to begin.
DWORD wait_without_limit(std::istream& words) {
  std::cout << "!" << std::endl;
  return WaitForSingleObject(handle_of(words), INFINITE);
}

// ERRNO: makes the kernel refuse waits on several words, then waits for two events of which the second is
// set.
DWORD wait_without_waitv(std::istream& words) {
  sock_filter steps[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_futex_waitv, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | next<uint32_t>(words)),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program = {std::size(steps), steps};
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
  const ScopedHandle never_set = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  const ScopedHandle set_later = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  const HANDLE both[] = {never_set, set_later};
  std::thread setter([&, waiter = gettid()] {
    await_sleep_in_wait(waiter);
    SetEvent(set_later);
  });
  const DWORD result = WaitForMultipleObjects(2, both, FALSE, INFINITE);
  setter.join();
  return result;
}

// KEY TEXT: sets a value of a key in HKEY_CURRENT_USER, which is made if missing.
DWORD set_value(std::istream& words) {
  const ScopedKey key(kUser, wide(next(words)).c_str());
  return static_cast<DWORD>(set_text(key, u"V", wide(next(words))));
}

// STEP KEY TEXT: dies at that step of setting the value.
DWORD die_in_registry(std::istream& words) {
  static int left;
  left = next<int>(words);
  set_fault_hook(
      [](platform::FaultPoint point, void*) {
        if (point == platform::FaultPoint::kRegistryStep && --left == 0) kill(getpid(), SIGKILL);
        return false;
      },
      nullptr);
  return set_value(words);
}

// How many descriptors a program started now would inherit.
DWORD count_inheritable(std::istream&) {
  DWORD count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    count += (fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC) == 0;
  }
  return count;
}

const std::map<std::string, std::function<DWORD(std::istream&)>> kCommands = {
    {"open-file", open_file},
    {"read", read_bytes},
    {"compete", compete_for_file},
    {"churn", [](std::istream& words) { return create_and_delete(last(words), 1500); }},
    {"event", create_event},
    {"inheritable", count_inheritable},
    {"close", [](std::istream& words) { return static_cast<DWORD>(CloseHandle(handle_of(words))); }},
    {"set", [](std::istream& words) { return static_cast<DWORD>(SetEvent(handle_of(words))); }},
    {"poll", [](std::istream& words) { return poll(handle_of(words)); }},
    {"wait", wait_without_limit},
    {"wait-without-waitv", wait_without_waitv},
    {"session", [](std::istream& words) { return DWORD{platform::set_session(next(words).c_str())}; }},
    {"private-session", [](std::istream&) { return DWORD{platform::set_private_session()}; }},
    {"registry-die", die_in_registry},
    {"registry-set", set_value},
};

}  // namespace

uint32_t create_and_delete(const std::string& name, int times) {
  uint32_t refused = 0;
  for (int i = 0; i < times; ++i) {
    const HANDLE file = open_for(name, GENERIC_WRITE, 0, CREATE_ALWAYS);
    if (file == INVALID_HANDLE_VALUE) ++refused;
    CloseHandle(file);
    DeleteFileA(name.c_str());
  }
  return refused;
}

int run_child() {
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    std::cout << kCommands.at(next(words))(words) << std::endl;
  }
  return 0;
}

}  // namespace zdr::test
