// The registry in memory: a tree of keys with their values, and paths through it.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/win32/runtime/text/fold_case.h"
#include "platform/win32/win32_types.h"

namespace zdr::platform {

struct RegistryValue {
  DWORD type = 0;
  std::vector<BYTE> data;  // text is UTF-16LE, with its NUL if it was stored with one

  bool operator==(const RegistryValue&) const = default;
};

struct RegistryKey {
  std::map<std::u16string, std::unique_ptr<RegistryKey>, LessWithoutCase> children;
  std::map<std::u16string, RegistryValue, LessWithoutCase> values;  // the default value has an empty name
};

// Names from a root ("HKEY_LOCAL_MACHINE") downwards. The tree itself has no HKEY_CLASSES_ROOT.
using KeyPath = std::vector<std::u16string>;

inline constexpr size_t kLongestKeyName = 255;
inline constexpr size_t kLongestValueName = 16383;
inline constexpr size_t kDeepestPath = 512;

inline constexpr std::u16string_view kClassesRoot = u"HKEY_CLASSES_ROOT";
// The name in its canonical case if it is a root, HKEY_CLASSES_ROOT included; empty for others.
std::u16string_view root_name(std::u16string_view name) noexcept;

// Appends the names of `sub_key`, which backslashes separate; one backslash at the end is ignored. NO_ERROR,
// ERROR_BAD_PATHNAME or ERROR_INVALID_PARAMETER.
DWORD append_names(KeyPath& path, std::u16string_view sub_key);

// True if every registry has the key: the roots, and the keys down to the classes and the system of the
// machine.
bool is_permanent(const KeyPath& path) noexcept;
// Adds the permanent keys that are missing.
void add_permanent_keys(RegistryKey& top);

const RegistryKey* find_key(const RegistryKey& top, const KeyPath& path) noexcept;
RegistryKey* find_key(RegistryKey& top, const KeyPath& path) noexcept;
// The number of levels of the path that exist.
size_t existing_levels(const RegistryKey& top, const KeyPath& path) noexcept;
// Makes the levels of the path that are missing, all or, when it throws bad_alloc, none.
RegistryKey& make_key(RegistryKey& top, const KeyPath& path);
// Removes the key with everything below it; false if there is none.
bool remove_key(RegistryKey& top, const KeyPath& path) noexcept;

// Where the tree stores the content of a path; the first place hides the second. Most paths have one place;
// those below HKEY_CLASSES_ROOT have the user's classes, then those of the machine.
std::vector<KeyPath> places_of(const KeyPath& path);
// Where a key of this path is made.
KeyPath place_for_new_key(const KeyPath& path);

}  // namespace zdr::platform
