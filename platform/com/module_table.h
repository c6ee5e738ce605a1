// The modules that the COM runtime has loaded, by path.
#pragma once

#include <objbase.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace zdr::com {

// One loaded module; unloaded with its last owner.
class Module {
 public:
  // Null if the file cannot be loaded. `path` is absolute: GetModuleFileName reports it as it was given,
  // and the current folder may change.
  static std::shared_ptr<Module> load(const std::string& path);

  Module(void* handle) noexcept : handle_(handle) {}
  ~Module();
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  // Null if the module does not export the name.
  template <class Function>
  Function* function(const char* name) const noexcept {
    return reinterpret_cast<Function*>(symbol(name));
  }

  // True if DllCanUnloadNow returns S_OK. A module without that function is never unloaded.
  bool can_unload_now() const noexcept;

 private:
  void* symbol(const char* name) const noexcept;

  void* handle_;
};

// Callers of get() share the ownership of the module, so that free_unused cannot unload it between the
// lookup and the creation of the first object.
class ModuleTable {
 public:
  static ModuleTable& instance();

  // Loads the module if it is not loaded yet. Null if the file cannot be loaded.
  std::shared_ptr<Module> get(const std::string& path);
  // Unloads the modules that allow it.
  void free_unused();
  // True if DllCanUnloadNow of a loaded module does not return S_OK.
  bool hold_objects();

 private:
  std::mutex mutex_;
  std::map<std::string, std::shared_ptr<Module>> modules_;  // by canonical path; guarded by mutex_
};

}  // namespace zdr::com
