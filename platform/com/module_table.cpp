// Loads modules by dlopen and unloads them when they allow it.
#include "module_table.h"

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

namespace zdr::com {

std::shared_ptr<Module> Module::load(const std::string& path) {
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) return nullptr;
  return std::make_shared<Module>(handle);
}

Module::~Module() {
  dlclose(handle_);
}

bool Module::can_unload_now() const noexcept {
  const auto can_unload = function<HRESULT()>("DllCanUnloadNow");
  return can_unload != nullptr && can_unload() == S_OK;
}

void* Module::symbol(const char* name) const noexcept {
  return dlsym(handle_, name);
}

ModuleTable& ModuleTable::instance() {
  // Never destroyed: objects of a module may outlive the statics of this library.
  static ModuleTable& table = *new ModuleTable;
  return table;
}

std::shared_ptr<Module> ModuleTable::get(const std::string& path) {
  std::error_code error;
  const std::string canonical = std::filesystem::canonical(path, error).string();
  if (error) return nullptr;
  const std::lock_guard lock(mutex_);
  const auto found = modules_.find(canonical);
  if (found != modules_.end()) return found->second;
  std::shared_ptr<Module> module = Module::load(canonical);
  if (module) modules_.emplace(canonical, module);
  return module;
}

void ModuleTable::free_unused() {
  std::vector<std::shared_ptr<Module>> unused;  // destroyed, and so unloaded, after the lock is released
  const std::lock_guard lock(mutex_);
  for (auto it = modules_.begin(); it != modules_.end();) {
    const bool in_use = it->second.use_count() > 1;
    if (in_use || !it->second->can_unload_now()) {
      ++it;
      continue;
    }
    unused.push_back(std::move(it->second));
    it = modules_.erase(it);
  }
}

bool ModuleTable::hold_objects() {
  const std::lock_guard lock(mutex_);
  return std::ranges::any_of(modules_, [](const auto& entry) {
    const auto can_unload = entry.second->template function<HRESULT()>("DllCanUnloadNow");
    return can_unload != nullptr && can_unload() != S_OK;
  });
}

}  // namespace zdr::com
