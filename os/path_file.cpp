// The functions of the status-returning interface that take a path, one template for narrow and wide paths.
#include <string>

#include "os/open_file.h"
#include "os/path_calls.h"

namespace zdr::os {
namespace {

template <class Calls>
int32_t delete_file(const typename Calls::Char* path) {
  if (path == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  return Calls::kDeleteFile(path) ? FMGR_OK : FMGR_ERR_GENERIC;
}

// Measures the folder of the path rather than a drive root, because not every system has drive letters. The
// platform accepts any folder of the volume.
template <class Calls>
int32_t disk_free_bytes(const typename Calls::Char* path, uint64_t* bytes) {
  if (path == nullptr || bytes == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  typename Calls::Char folder[MAX_PATH] = {};
  typename Calls::Char* file_name = nullptr;
  const DWORD length = Calls::kGetFullPathName(path, MAX_PATH, folder, &file_name);
  if (length == 0 || length >= MAX_PATH) return FMGR_ERR_GENERIC;
  if (file_name != nullptr) *file_name = 0;
  DWORD sectors_per_cluster = 0;
  DWORD bytes_per_sector = 0;
  DWORD free_clusters = 0;
  DWORD total_clusters = 0;
  if (!Calls::kGetDiskFreeSpace(folder, &sectors_per_cluster, &bytes_per_sector, &free_clusters,
                                &total_clusters)) {
    return FMGR_ERR_GENERIC;
  }
  const uint32_t cluster_bytes = bytes_per_sector * sectors_per_cluster;
  *bytes = uint64_t{free_clusters} * cluster_bytes;
  return FMGR_OK;
}

template <class Char>
Char* temp_name(const Char* path, OS_ReleaseFunction* release) {
  constexpr Char kSuffix[] = {'.', 't', 'm', 'p', 0};
  if (path == nullptr || release == nullptr) return nullptr;
  const size_t length = std::char_traits<Char>::length(path);
  auto* name = static_cast<Char*>(OS_Malloc((length + std::size(kSuffix)) * sizeof(Char)));
  if (name == nullptr) return nullptr;
  std::char_traits<Char>::copy(name, path, length);
  std::char_traits<Char>::copy(name + length, kSuffix, std::size(kSuffix));
  *release = &OS_Free;
  return name;
}

}  // namespace
}  // namespace zdr::os

using zdr::os::NarrowCalls;
using zdr::os::WideCalls;

int32_t OS_FileOpen(void** handle, const char* path, uint32_t mode) noexcept {
  return zdr::os::open_file<NarrowCalls>(handle, path, mode);
}

int32_t OS_FileOpenW(void** handle, const char16_t* path, uint32_t mode) noexcept {
  return zdr::os::open_file<WideCalls>(handle, path, mode);
}

int32_t OS_FileDelete(const char* path) noexcept {
  return zdr::os::delete_file<NarrowCalls>(path);
}

int32_t OS_FileDeleteW(const char16_t* path) noexcept {
  return zdr::os::delete_file<WideCalls>(path);
}

int32_t OS_DiskFreeBytes(const char* path, uint64_t* bytes) noexcept {
  return zdr::os::disk_free_bytes<NarrowCalls>(path, bytes);
}

int32_t OS_DiskFreeBytesW(const char16_t* path, uint64_t* bytes) noexcept {
  return zdr::os::disk_free_bytes<WideCalls>(path, bytes);
}

char* OS_TempName(const char* path, OS_ReleaseFunction* release) noexcept {
  return zdr::os::temp_name(path, release);
}

char16_t* OS_TempNameW(const char16_t* path, OS_ReleaseFunction* release) noexcept {
  return zdr::os::temp_name(path, release);
}
