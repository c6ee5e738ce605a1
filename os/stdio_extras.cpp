// Additions to the stdio-style interface: free space, the path for a temporary file, deletion by an ANSI
// path.
#include <windows.h>

#include <string_view>

#include "os/os.h"

int32_t OS_GetFreeSpace(uint32_t free_bytes[2], const char16_t* path) noexcept {
  if (free_bytes == nullptr || path == nullptr) return -1;
  const std::u16string_view whole = path;
  // Kept: only a backslash ends the folder part; without one, the current volume is measured.
  const size_t folder_length = whole.rfind(u'\\');
  char16_t folder[MAX_PATH] = {};
  const bool has_folder = folder_length != std::u16string_view::npos;
  if (has_folder) {
    if (folder_length >= MAX_PATH) return -1;
    whole.copy(folder, folder_length);
  }
  ULARGE_INTEGER available = {};
  if (!GetDiskFreeSpaceExW(has_folder ? folder : nullptr, &available, nullptr, nullptr)) return -1;
  free_bytes[0] = static_cast<uint32_t>(available.QuadPart >> 32);
  free_bytes[1] = static_cast<uint32_t>(available.QuadPart);
  return 0;
}

char16_t* OS_GetTempFilePath(void) noexcept {
  static char16_t path[MAX_PATH] = u"\\temp.tmp";
  char16_t folder[MAX_PATH] = {};
  // Kept: the folder for temporary files is used only when the system does not name one.
  if (GetTempPathW(MAX_PATH, folder) == 0) GetTempFileNameW(folder, u"00", 1, path);
  return path;
}

int32_t OS_DeleteFileMB(const char* path) noexcept {
  char16_t wide[MAX_PATH] = {};
  if (MultiByteToWideChar(CP_ACP, 0, path, -1, wide, MAX_PATH) == 0) return FALSE;
  return DeleteFileW(wide);
}
