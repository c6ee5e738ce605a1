// Judges the modules that the registry names.
#include <filesystem>
#include <system_error>
#include <utility>

#include "class_modules.h"
#include "class_paths.h"
#include "platform/win32/file_trust.h"
#include "platform/win32/registry_file.h"

namespace zdr::com {

std::string module_refusal(const std::string& path) {
  std::error_code error;
  const std::filesystem::path module = std::filesystem::canonical(path, error);
  if (error) return {};
  const std::filesystem::path registry = zdr::platform::resolved_registry_file();
  const std::pair<std::string, std::filesystem::path> places[] = {
      {"it", module},
      {"its folder " + module.parent_path().string(), module.parent_path()},
      {"the registry's folder " + registry.parent_path().string(), registry.parent_path()},
  };
  for (const auto& [name, place] : places) {
    const char* const reason = zdr::platform::distrust_reason(place.string());
    if (reason != nullptr) return module.string() + " is not loaded: " + name + " " + reason;
  }
  return {};
}

std::string registered_module_refusal(REFCLSID clsid) {
  std::string path;
  return SUCCEEDED(registered_class_path(clsid, path)) ? module_refusal(path) : std::string();
}

}  // namespace zdr::com
