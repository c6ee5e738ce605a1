// Parses mode strings, once for the access class and once for the mode of the device.
//
// Kept: the two parsers are independent and disagree on unusual strings, such as "rt+".
#include "fmgr/open_mode.h"

#include "os/os.h"

namespace zdr::fmgr {
namespace {

constexpr uint32_t kNoSuchMode = OS_OPEN_APPEND + 1;

}  // namespace

std::optional<AccessClass> access_class(std::string_view mode) {
  const auto has = [mode](char c) { return mode.find(c) != std::string_view::npos; };
  if (mode == "w" || mode == "wb") return AccessClass::kWrite;
  if (has('a')) return AccessClass::kAppend;
  if (has('+')) return AccessClass::kUpdate;
  if (has('r')) return AccessClass::kRead;
  return std::nullopt;
}

uint32_t os_open_mode(std::string_view mode) {
  const auto at = [mode](size_t index) { return index < mode.size() ? mode[index] : '\0'; };
  const bool update = at(1) == '+' || (at(1) == 'b' && at(2) == '+');
  switch (at(0)) {
    case 'w':
      return update ? OS_OPEN_CREATE_READWRITE : OS_OPEN_WRITE;
    case 'r':
      return update ? OS_OPEN_READWRITE : OS_OPEN_READ;
    case 'a':
      // Kept: "a" alone opens nothing; "ab" and "a+" do.
      return at(1) == 'b' || at(1) == '+' ? uint32_t{OS_OPEN_APPEND} : kNoSuchMode;
    default:
      return OS_OPEN_READWRITE;
  }
}

}  // namespace zdr::fmgr
