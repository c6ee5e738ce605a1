// What a child process does for the two-process tests. One role, "worker": it holds one handle per letter and
// answers each command with a number (a wait result, TRUE or FALSE, or the last error of a create call).
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <windows.h>

#include <csignal>
#include <iostream>
#include <map>
#include <sstream>
#include <thread>

#include "child_process.h"
#include "platform/win32/fault_injection.h"
#include "platform/win32/session.h"
#include "tests/platform/win32/files/share_rule.h"
#include "win32_test_support.h"

namespace zdr::platform::test {

namespace {

class Worker {
 public:
  // The numeric answer to one command line.
  DWORD answer(const std::string& line) {
    std::istringstream words(line);
    std::string verb;
    std::string key;
    words >> verb >> key;
    HANDLE& handle = handles_[key];
    if (verb == "open-file") return open_file(words, handle);
    if (verb == "event" || verb == "mutex" || verb == "semaphore") return create(verb, words, handle);
    if (verb == "close") return static_cast<DWORD>(CloseHandle(handle));
    if (verb == "set") return static_cast<DWORD>(SetEvent(handle));
    if (verb == "release") return ReleaseMutex(handle) ? NO_ERROR : GetLastError();
    if (verb == "post") return ReleaseSemaphore(handle, 1, nullptr) ? NO_ERROR : GetLastError();
    if (verb == "wait") return wait(words, handle);
    if (verb == "try-pairs") return broken_pairs(key);
    if (verb == "fight") return fight_for_file(words);
    if (verb == "session") return set_session(key == "null" ? nullptr : key.c_str()) ? TRUE : FALSE;
    if (verb == "private-session") return set_private_session() ? TRUE : FALSE;
    if (verb == "churn") return create_and_delete(key, 1500);
    if (verb == "wait-without-waitv") return wait_without_waitv(static_cast<uint32_t>(std::stoi(key)));
    if (verb == "read") return read_bytes(words, handle);
    if (verb == "wait-on-thread") return wait_on_ended_thread(handle);
    if (verb.starts_with("registry-")) return use_registry(verb, key, words);
    return 0xBADu;
  }

 private:
  DWORD open_file(std::istringstream& words, HANDLE& handle) {
    DWORD access = 0;
    DWORD share = 0;
    std::string path;
    words >> access >> share >> path;
    handle = CreateFileA(path.c_str(), access, share, nullptr, OPEN_EXISTING, 0, nullptr);
    return GetLastError();
  }

  // Opens a file for itself alone, again and again, and counts how often it was not alone: whoever holds the
  // file also makes a marker that must not be there yet.
  static DWORD fight_for_file(std::istringstream& words) {
    int rounds = 0;
    std::string path;
    words >> rounds >> path;
    const std::string marker = path + ".marker";
    DWORD intruders = 0;
    for (int won = 0; won < rounds;) {
      const HANDLE file = CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
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

  DWORD create(const std::string& kind, std::istringstream& words, HANDLE& handle) {
    std::string name;
    BOOL flag = FALSE;  // manual reset, or initial owner
    words >> name >> flag;
    if (kind == "event") handle = CreateEventW(nullptr, flag, FALSE, wide(name).c_str());
    if (kind == "mutex") handle = CreateMutexW(nullptr, flag, wide(name).c_str());
    if (kind == "semaphore") handle = CreateSemaphoreW(nullptr, 0, 10, wide(name).c_str());
    return GetLastError();
  }

  // "!" is printed before the wait, so that the other side knows how far the worker is.
  DWORD wait(std::istringstream& words, HANDLE handle) {
    DWORD milliseconds = 0;
    words >> milliseconds;
    if (milliseconds != 0) std::cout << "!" << std::endl;
    return WaitForSingleObject(handle, milliseconds);
  }

  // From now on the kernel answers waits on several words with `error`; how busy a wait is then, in percent.
  static DWORD wait_without_waitv(uint32_t error) {
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_futex_waitv, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {std::size(steps), steps};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
    const ScopedHandle named = CreateEventW(nullptr, FALSE, FALSE, u"WithoutWaitv");
    const ScopedHandle local = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    return static_cast<DWORD>(busy_percent_of_wait({named, local}));
  }

  // Reads so many bytes one at a time and answers the last one.
  static DWORD read_bytes(std::istringstream& words, HANDLE file) {
    int count = 0;
    words >> count;
    unsigned char byte = 0;
    DWORD got = 0;
    for (int i = 0; i < count; ++i) ReadFile(file, &byte, 1, &got, nullptr);
    return byte;
  }

  // A thread takes the mutex and ends without releasing it, while the process lives on.
  DWORD wait_on_ended_thread(HANDLE handle) {
    DWORD result = WAIT_FAILED;
    std::thread([&] { result = WaitForSingleObject(handle, INFINITE); }).join();
    return result;
  }

  // fill PREFIX COUNT makes keys; set KEY TEXT; remove KEY; die STEP makes a key and dies at that step of it.
  static DWORD use_registry(const std::string& verb, const std::string& key, std::istringstream& words) {
    std::string rest;
    words >> rest;
    if (verb == "registry-fill") return fill_registry(key, std::stoi(rest));
    if (verb == "registry-remove")
      return static_cast<DWORD>(RegDeleteKeyW(HKEY_CURRENT_USER, wide(key).c_str()));
    if (verb == "registry-die") return die_in_registry(std::stoi(key));
    HKEY opened = nullptr;
    RegOpenKeyExW(HKEY_CURRENT_USER, wide(key).c_str(), 0, KEY_SET_VALUE, &opened);
    const LSTATUS status =
        RegSetValueExW(opened, u"V", 0, REG_SZ, reinterpret_cast<const BYTE*>(wide(rest).c_str()),
                       static_cast<DWORD>(rest.size() * 2 + 2));
    RegCloseKey(opened);
    return static_cast<DWORD>(status);
  }

  // Goes on behind the keys that are there already.
  static DWORD fill_registry(const std::string& prefix, int count) {
    DWORD failures = 0;
    for (int i = 0; i < count; ++i) {
      HKEY opened = nullptr;
      const std::u16string name = wide(prefix + std::to_string(i));
      if (RegCreateKeyW(HKEY_CURRENT_USER, name.c_str(), &opened) != ERROR_SUCCESS) ++failures;
      RegCloseKey(opened);
    }
    return failures;
  }

  static DWORD die_in_registry(int step) {
    static int left;
    left = step;
    set_fault_hook(
        [](FaultPoint point, void*) {
          if (point == FaultPoint::kRegistryStep && --left == 0) kill(getpid(), SIGKILL);
          return false;
        },
        nullptr);
    return static_cast<DWORD>(RegSetValueW(HKEY_CURRENT_USER, u"Before", REG_SZ, u"changed", 0));
  }

  std::map<std::string, HANDLE> handles_;
};

}  // namespace

uint32_t create_and_delete(const std::string& name, int times) {
  uint32_t refused = 0;
  for (int i = 0; i < times; ++i) {
    const HANDLE file = CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) ++refused;
    CloseHandle(file);
    DeleteFileA(name.c_str());
  }
  return refused;
}

int run_child_role(const std::string&) {
  Worker worker;
  for (std::string line; std::getline(std::cin, line);) std::cout << worker.answer(line) << std::endl;
  return 0;
}

}  // namespace zdr::platform::test
