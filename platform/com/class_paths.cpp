// Reads the path of a module from the InprocServer32 key of its class.
#include "class_paths.h"

#include "platform/win32/file_names.h"
#include "registry_key.h"

namespace zdr::com {
namespace {

// A relative path would let the owner of the current folder choose the module.
bool is_absolute(const std::u16string& path) {
  return !path.empty() && path.front() == u'/';
}

// Queries the size, then the data, and repeats if the value has grown in between.
LSTATUS query_text(HKEY key, DWORD& type, std::u16string& text) {
  LSTATUS status = ERROR_MORE_DATA;
  DWORD bytes = 0;
  while (status == ERROR_MORE_DATA) {
    text.resize(bytes / sizeof(WCHAR));
    bytes = static_cast<DWORD>(text.size() * sizeof(WCHAR));
    status = RegQueryValueExW(key, nullptr, nullptr, &type, reinterpret_cast<BYTE*>(text.data()), &bytes);
    if (bytes % sizeof(WCHAR) != 0) return ERROR_INVALID_DATA;
  }
  text.resize(bytes / sizeof(WCHAR));
  text.resize(text.find_last_not_of(u'\0') + 1);
  return status;
}

}  // namespace

HRESULT registered_class_path(REFCLSID clsid, std::string& path) {
  OpenKey server;
  LSTATUS status = server.open(class_key(clsid) + u"\\InprocServer32", KEY_QUERY_VALUE);
  DWORD type = REG_NONE;
  std::u16string text;
  if (status == ERROR_SUCCESS) status = query_text(server.get(), type, text);
  if (status == ERROR_FILE_NOT_FOUND) return REGDB_E_CLASSNOTREG;
  if (status == ERROR_INVALID_DATA) return REGDB_E_INVALIDVALUE;
  if (status != ERROR_SUCCESS) return hresult_of(status);
  if (type != REG_SZ || !is_absolute(text)) return REGDB_E_INVALIDVALUE;
  path = zdr::platform::native_file_name(text);
  return S_OK;
}

}  // namespace zdr::com
