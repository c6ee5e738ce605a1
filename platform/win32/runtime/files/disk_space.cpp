// GetDiskFreeSpace and GetDiskFreeSpaceEx, computed from statvfs.
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "platform/win32/runtime/api_boundary.h"
#include "platform/win32/runtime/errno_map.h"
#include "platform/win32/runtime/files/native_path.h"
#include "platform/win32/win32_paths.h"

namespace zdr::platform {

namespace {

constexpr DWORD kSectorBytes = 512;

// ERROR_PATH_NOT_FOUND whether the folder or its parent is missing.
template <class Unit>
DWORD volume_of(const Unit* folder, struct statvfs& volume) {
  std::string path = ".";
  if (folder != nullptr) {
    if (const DWORD error = native_path(folder, path); error != NO_ERROR) return error;
  }
  if (statvfs(path.c_str(), &volume) == 0) return NO_ERROR;
  return errno == ENOENT ? ERROR_PATH_NOT_FOUND : error_from_errno(errno);
}

DWORD clamp_to_dword(uint64_t value) noexcept {
  return static_cast<DWORD>(std::min<uint64_t>(value, 0xFFFFFFFFu));
}

template <class Unit>
BOOL clusters(const Unit* root, DWORD* sectors_per_cluster, DWORD* bytes_per_sector, DWORD* free_clusters,
              DWORD* total_clusters) noexcept {
  struct statvfs volume;
  if (!report(guarded([&] { return volume_of(root, volume); }))) return FALSE;
  const DWORD sectors = clamp_to_dword(std::max<uint64_t>(volume.f_frsize / kSectorBytes, 1));
  if (sectors_per_cluster != nullptr) *sectors_per_cluster = sectors;
  if (bytes_per_sector != nullptr) *bytes_per_sector = kSectorBytes;
  if (free_clusters != nullptr) *free_clusters = clamp_to_dword(volume.f_bavail);
  if (total_clusters != nullptr) *total_clusters = clamp_to_dword(volume.f_blocks);
  return TRUE;
}

}  // namespace

}  // namespace zdr::platform

BOOL GetDiskFreeSpaceA(LPCSTR root, LPDWORD sectors_per_cluster, LPDWORD bytes_per_sector,
                       LPDWORD free_clusters, LPDWORD total_clusters) noexcept {
  return zdr::platform::clusters(root, sectors_per_cluster, bytes_per_sector, free_clusters, total_clusters);
}

BOOL GetDiskFreeSpaceW(LPCWSTR root, LPDWORD sectors_per_cluster, LPDWORD bytes_per_sector,
                       LPDWORD free_clusters, LPDWORD total_clusters) noexcept {
  return zdr::platform::clusters(root, sectors_per_cluster, bytes_per_sector, free_clusters, total_clusters);
}

BOOL GetDiskFreeSpaceExW(LPCWSTR directory, PULARGE_INTEGER available, PULARGE_INTEGER total,
                         PULARGE_INTEGER total_free) noexcept {
  using namespace zdr::platform;
  struct statvfs volume;
  if (!report(guarded([&] { return volume_of(directory, volume); }))) return FALSE;
  if (available != nullptr) available->QuadPart = uint64_t{volume.f_bavail} * volume.f_frsize;
  if (total != nullptr) total->QuadPart = uint64_t{volume.f_blocks} * volume.f_frsize;
  if (total_free != nullptr) total_free->QuadPart = uint64_t{volume.f_bfree} * volume.f_frsize;
  return TRUE;
}
