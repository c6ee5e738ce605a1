// The one registry of the process, and the report on its file.
#include "platform/win32/runtime/registry/registry_access.h"

#include <cstdint>
#include <mutex>

#include "platform/win32/registry_file.h"
#include "platform/win32/runtime/registry/store_path.h"
#include "platform/win32/win32_error.h"

namespace zdr::platform {

namespace {

constinit std::mutex registry_mutex;  // guards the instance

}  // namespace

RegistryLock::RegistryLock() noexcept {
  registry_mutex.lock();
}

RegistryLock::~RegistryLock() {
  const std::u16string message = Registry::instance().store.take_message();
  registry_mutex.unlock();
  if (!message.empty()) OutputDebugStringW(message.c_str());
}

Registry& Registry::instance() {
  static Registry& registry = *new Registry;
  return registry;
}

DWORD lock_store(StoreLock& lock) {
  std::string path;
  if (const DWORD error = registry_path(path); error != NO_ERROR) return error;
  return lock.acquire(final_path(path));
}

RegistryReport report_registry() {
  const RegistryLock lock;
  RegistryStore& store = Registry::instance().store;
  RegistryReport report;
  report.error = store.load();
  report.path = store.path();
  if (report.error == NO_ERROR) {
    write_export(store.tree(), SIZE_MAX, report.text);
  } else if (store.fault().reason != nullptr) {
    report.line = store.fault().line;
    report.reason = store.fault().reason;
  }
  return report;
}

}  // namespace zdr::platform
