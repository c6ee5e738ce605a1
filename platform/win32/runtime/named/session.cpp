// Chooses the session of the process, and fixes it once a named event uses it.
#include "platform/win32/session.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>

#include "platform/win32/runtime/named/session_name.h"

namespace zdr::platform {

namespace {

constexpr const char* kSharedSession = "default";
constexpr size_t kNameBytes = 200;

struct Session {
  std::mutex mutex;
  char name[kNameBytes + 1] = "";  // empty: not chosen yet
  bool fixed = false;              // a named event has used it
};

constinit Session session;

bool is_valid(const char* name) noexcept {
  if (name == nullptr) return false;
  const size_t length = strnlen(name, kNameBytes + 1);
  return length > 0 && length <= kNameBytes && std::strchr(name, '\n') == nullptr;
}

// `name` is valid.
void choose(const char* name) noexcept {
  std::memcpy(session.name, name, std::strlen(name) + 1);
}

const char* default_name() noexcept {
  const char* from_environment = std::getenv("ZDR_SESSION");
  return is_valid(from_environment) ? from_environment : kSharedSession;
}

}  // namespace

bool set_session(const char* name) noexcept {
  if (!is_valid(name)) return false;
  std::lock_guard lock(session.mutex);
  if (session.fixed) return std::strcmp(session.name, name) == 0;
  choose(name);
  return true;
}

bool set_private_session() noexcept {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  char name[80];
  // A process id is reused only after the clock has moved on.
  std::snprintf(name, sizeof name, "private %ld %lld.%09ld", static_cast<long>(getpid()),
                static_cast<long long>(now.tv_sec), now.tv_nsec);
  return set_session(name);
}

std::string fixed_session_name() {
  std::lock_guard lock(session.mutex);
  if (session.name[0] == '\0') choose(default_name());
  session.fixed = true;
  return session.name;
}

}  // namespace zdr::platform
