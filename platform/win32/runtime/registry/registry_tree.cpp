// Finds, creates and removes keys, and resolves the view of HKEY_CLASSES_ROOT.
#include "platform/win32/runtime/registry/registry_tree.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <utility>

namespace zdr::platform {

namespace {

constexpr std::u16string_view kRoots[] = {kClassesRoot, u"HKEY_CURRENT_CONFIG", u"HKEY_CURRENT_USER",
                                          u"HKEY_LOCAL_MACHINE", u"HKEY_USERS"};

constexpr std::u16string_view kUserClasses[] = {u"HKEY_CURRENT_USER", u"Software", u"Classes"};
constexpr std::u16string_view kMachineClasses[] = {u"HKEY_LOCAL_MACHINE", u"SOFTWARE", u"Classes"};
constexpr std::u16string_view kMachineSystem[] = {u"HKEY_LOCAL_MACHINE", u"SYSTEM"};

bool same_name(std::u16string_view a, std::u16string_view b) noexcept {
  return !LessWithoutCase{}(a, b) && !LessWithoutCase{}(b, a);
}

// True if the path is `whole` or one of the levels above it.
bool leads_to(const KeyPath& path, std::span<const std::u16string_view> whole) noexcept {
  return path.size() <= whole.size() && std::equal(path.begin(), path.end(), whole.begin(), same_name);
}

KeyPath below(std::span<const std::u16string_view> start, const KeyPath& path) {
  KeyPath result(start.begin(), start.end());
  result.insert(result.end(), path.begin() + 1, path.end());
  return result;
}

DWORD check_name(std::u16string_view name) noexcept {
  if (name.empty()) return ERROR_BAD_PATHNAME;
  if (name.size() > kLongestKeyName) return ERROR_INVALID_PARAMETER;
  // The text form has the names of keys on one line, without quotes.
  const bool has_control = std::any_of(name.begin(), name.end(), [](char16_t unit) { return unit < u' '; });
  return has_control ? ERROR_INVALID_PARAMETER : NO_ERROR;
}

}  // namespace

std::u16string_view root_name(std::u16string_view name) noexcept {
  const auto* found = std::ranges::find_if(kRoots, [&](auto root) { return same_name(root, name); });
  return found != std::end(kRoots) ? *found : std::u16string_view();
}

DWORD append_names(KeyPath& path, std::u16string_view sub_key) {
  if (!sub_key.empty() && sub_key.front() == u'\\') return ERROR_BAD_PATHNAME;
  while (!sub_key.empty()) {
    const size_t end = std::min(sub_key.find(u'\\'), sub_key.size());
    const std::u16string_view name = sub_key.substr(0, end);
    if (const DWORD error = check_name(name); error != NO_ERROR) return error;
    if (path.size() >= kDeepestPath) return ERROR_INVALID_PARAMETER;
    path.emplace_back(name);
    sub_key.remove_prefix(std::min(end + 1, sub_key.size()));
  }
  return NO_ERROR;
}

bool is_permanent(const KeyPath& path) noexcept {
  return path.size() == 1 || leads_to(path, kMachineClasses) || leads_to(path, kMachineSystem);
}

void add_permanent_keys(RegistryKey& top) {
  for (const std::u16string_view root : kRoots) {
    if (root != kClassesRoot) make_key(top, {std::u16string(root)});
  }
  make_key(top, KeyPath(std::begin(kMachineClasses), std::end(kMachineClasses)));
  make_key(top, KeyPath(std::begin(kMachineSystem), std::end(kMachineSystem)));
}

const RegistryKey* find_key(const RegistryKey& top, const KeyPath& path) noexcept {
  const RegistryKey* key = &top;
  for (const std::u16string& name : path) {
    const auto child = key->children.find(name);
    if (child == key->children.end()) return nullptr;
    key = child->second.get();
  }
  return key;
}

RegistryKey* find_key(RegistryKey& top, const KeyPath& path) noexcept {
  return const_cast<RegistryKey*>(find_key(std::as_const(top), path));
}

size_t existing_levels(const RegistryKey& top, const KeyPath& path) noexcept {
  const RegistryKey* key = &top;
  for (size_t level = 0; level < path.size(); ++level) {
    const auto child = key->children.find(path[level]);
    if (child == key->children.end()) return level;
    key = child->second.get();
  }
  return path.size();
}

RegistryKey& make_key(RegistryKey& top, const KeyPath& path) {
  RegistryKey* parent = &top;
  size_t level = 0;
  for (; level < path.size(); ++level) {
    const auto child = parent->children.find(path[level]);
    if (child == parent->children.end()) break;
    parent = child->second.get();
  }
  if (level == path.size()) return *parent;
  auto branch = std::make_unique<RegistryKey>();
  RegistryKey* key = branch.get();
  for (size_t below = level + 1; below < path.size(); ++below) {
    key = key->children.emplace(path[below], std::make_unique<RegistryKey>()).first->second.get();
  }
  parent->children.emplace(path[level], std::move(branch));
  return *key;
}

bool remove_key(RegistryKey& top, const KeyPath& path) noexcept {
  RegistryKey* parent = &top;
  for (size_t level = 0; level + 1 < path.size(); ++level) {
    const auto child = parent->children.find(path[level]);
    if (child == parent->children.end()) return false;
    parent = child->second.get();
  }
  const auto key = parent->children.find(path.back());
  if (key == parent->children.end()) return false;
  parent->children.erase(key);
  return true;
}

std::vector<KeyPath> places_of(const KeyPath& path) {
  if (path.front() != kClassesRoot) return {path};
  return {below(kUserClasses, path), below(kMachineClasses, path)};
}

KeyPath place_for_new_key(const KeyPath& path) {
  return path.front() == kClassesRoot ? below(kMachineClasses, path) : path;
}

}  // namespace zdr::platform
