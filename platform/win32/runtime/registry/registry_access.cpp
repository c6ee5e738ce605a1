// The one registry of the process, holds on it, and the report on its file.
#include "platform/win32/runtime/registry/registry_access.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>

#include "platform/win32/file_names.h"
#include "platform/win32/registry_file.h"
#include "platform/win32/registry_hold.h"
#include "platform/win32/runtime/registry/store_path.h"
#include "platform/win32/win32_error.h"

namespace zdr::platform {

namespace {

constinit std::mutex registry_mutex;        // guards the instance
constinit std::recursive_mutex hold_mutex;  // of the thread that has holds; taken before the other

// Recurses at most kDeepestPath levels.
void visit_key(RegistryVisitor& visitor, std::string& path, const RegistryKey& key) {
  visitor.on_key(path);
  for (const auto& [name, value] : key.values) visitor.on_value(name, value.type, value.data);
  for (const auto& [name, child] : key.children) {
    const size_t length = path.size();
    path += "\\" + utf8_file_name(name);
    visit_key(visitor, path, *child);
    path.resize(length);
  }
}

}  // namespace

RegistryLock::RegistryLock() noexcept {
  registry_mutex.lock();
}

RegistryLock::~RegistryLock() {
  const std::u16string message = Registry::instance().store.take_message();
  registry_mutex.unlock();
  if (!message.empty()) OutputDebugStringW(message.c_str());
}

Registry& Registry::instance() noexcept {
  alignas(Registry) static std::byte storage[sizeof(Registry)];
  static Registry& registry = *new (storage) Registry;
  return registry;
}

DWORD lock_store(const Registry& registry, StoreLock& lock) {
  if (registry.holds != 0) return NO_ERROR;
  std::string path;
  if (const DWORD error = registry_path(path); error != NO_ERROR) return error;
  return lock.acquire(final_path(path));
}

RegistryHold::RegistryHold() noexcept {
  hold_mutex.lock();
  const RegistryLock lock;
  Registry& registry = Registry::instance();
  error_ = guarded([&] { return lock_store(registry, registry.hold_lock); });
  if (error_ == NO_ERROR) ++registry.holds;
}

RegistryHold::~RegistryHold() {
  if (error_ == NO_ERROR) {
    const RegistryLock lock;
    Registry& registry = Registry::instance();
    if (--registry.holds == 0) registry.hold_lock = StoreLock();
  }
  hold_mutex.unlock();
}

RegistryReport report_registry() {
  const RegistryLock lock;
  RegistryStore& store = Registry::instance().store;
  RegistryReport report;
  report.error = store.load();
  report.path = store.path();
  if (report.error == NO_ERROR) {
    write_export(store.tree(), {.bytes = SIZE_MAX, .entries = SIZE_MAX}, report.text);
  } else if (store.fault().reason != nullptr) {
    report.line = store.fault().line;
    report.reason = store.fault().reason;
  }
  return report;
}

void visit_registry(RegistryVisitor& visitor) {
  const RegistryLock lock;
  RegistryStore& store = Registry::instance().store;
  if (store.load() != NO_ERROR) return;
  for (const auto& [name, root] : store.tree().children) {
    std::string path = utf8_file_name(name);
    visit_key(visitor, path, *root);
  }
}

}  // namespace zdr::platform
