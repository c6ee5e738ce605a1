// The one registry of the process, holds on it, and the report on its file.
#include "platform/win32/runtime/registry/registry_access.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>

#include "platform/win32/fault_injection.h"
#include "platform/win32/registry_file.h"
#include "platform/win32/runtime/registry/store_path.h"
#include "platform/win32/utf.h"
#include "platform/win32/win32_error.h"

namespace zdr::platform {

namespace {

constinit std::recursive_mutex registry_mutex;  // guards the instance

// A message to the debugger is sent after the unlocking, because the debugger's hook may use the registry.
void unlock_registry() noexcept {
  const std::u16string message = Registry::instance().store.take_message();
  registry_mutex.unlock();
  if (!message.empty()) OutputDebugStringW(message.c_str());
}

// Without the text.
RegistryReport load_and_report() {
  Registry& registry = Registry::instance();
  RegistryReport report;
  report.error = registry.load();
  report.path = registry.store.path();
  const TextFault& fault = registry.store.fault();
  if (report.error != NO_ERROR && fault.reason != nullptr) {
    report.line = fault.line;
    report.reason = fault.reason;
  }
  return report;
}

// Recurses at most kDeepestPath levels.
void visit_key(RegistryVisitor& visitor, std::string& path, const RegistryKey& key) {
  visitor.on_key(path);
  for (const auto& [name, value] : key.values) visitor.on_value(name, value.type, value.data);
  for (const auto& [name, child] : key.children) {
    const size_t length = path.size();
    path += "\\" + to_utf8(name);
    visit_key(visitor, path, *child);
    path.resize(length);
  }
}

}  // namespace

RegistryLock::RegistryLock() noexcept {
  registry_mutex.lock();
}

RegistryLock::~RegistryLock() {
  unlock_registry();
}

Registry& Registry::instance() noexcept {
  alignas(Registry) static std::byte storage[sizeof(Registry)];
  static Registry& registry = *new (storage) Registry;
  return registry;
}

DWORD Registry::load() {
  if (holds == 0 || !store.is_loaded()) return store.load();
  return should_fail(FaultPoint::kRegistryStep) ? ERROR_IO_DEVICE : NO_ERROR;
}

DWORD Registry::begin_changes() {
  std::string path;
  if (const DWORD error = registry_path(path); error != NO_ERROR) return error;
  const std::string file = final_path(path);
  StoreLock lock;
  if (const DWORD error = lock.acquire(file); error != NO_ERROR) return error;
  remove_leftover(file);
  if (const DWORD error = store.load(); error != NO_ERROR) return error;
  store_lock = std::move(lock);
  return NO_ERROR;
}

DWORD Registry::save_changes() {
  return std::exchange(unsaved, false) ? store.save() : NO_ERROR;
}

RegistryHold::RegistryHold() noexcept : error_(NO_ERROR) {
  registry_mutex.lock();
  Registry& registry = Registry::instance();
  if (registry.holds == 0) error_ = guarded([&] { return registry.begin_changes(); });
  if (error_ == NO_ERROR) ++registry.holds;
}

RegistryHold::~RegistryHold() {
  if (error_ == NO_ERROR) {
    commit();
    Registry& registry = Registry::instance();
    if (--registry.holds == 0) registry.store_lock = StoreLock();
  }
  unlock_registry();
}

DWORD RegistryHold::commit() noexcept {
  if (error_ != NO_ERROR) return error_;
  Registry& registry = Registry::instance();
  return registry.holds == 1 ? guarded([&] { return registry.save_changes(); }) : NO_ERROR;
}

RegistryReport report_registry() {
  const RegistryLock lock;
  RegistryReport report = load_and_report();
  if (report.error == NO_ERROR) {
    const RegistryKey& top = Registry::instance().store.tree();
    write_export(top, {.bytes = SIZE_MAX, .entries = SIZE_MAX}, report.text);
  }
  return report;
}

std::string resolved_registry_file() {
  std::string path;
  return registry_path(path) == NO_ERROR ? final_path(path) : std::string();
}

RegistryReport visit_registry(RegistryVisitor& visitor) {
  const RegistryLock lock;
  RegistryReport report = load_and_report();
  if (report.error != NO_ERROR) return report;
  for (const auto& [name, root] : Registry::instance().store.tree().children) {
    std::string path = to_utf8(name);
    visit_key(visitor, path, *root);
  }
  return report;
}

}  // namespace zdr::platform
