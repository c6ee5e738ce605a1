#include "platform/win32/runtime/registry/registry_access.h"

#include "platform/win32/registry_file.h"
#include "platform/win32/runtime/registry/store_path.h"

namespace zdr::platform {

constinit std::mutex registry_mutex;

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
  const std::lock_guard lock(registry_mutex);
  RegistryStore& store = Registry::instance().store;
  RegistryReport report;
  report.error = store.load();
  report.path = store.path();
  if (report.error == NO_ERROR) {
    report.text = write_export(store.tree());
  } else if (store.fault().reason != nullptr) {
    report.line = store.fault().line;
    report.reason = store.fault().reason;
  }
  return report;
}

}  // namespace zdr::platform
