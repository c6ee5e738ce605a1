// Devices over a file of the platform with a narrow or a wide path.
#include <memory>
#include <new>

#include "fmgr/device.h"
#include "os/os.h"

namespace zdr::fmgr {
namespace {

struct FileDevice : FMGR_Device {
  void* handle = nullptr;
  const FMGR_Descriptor* descriptor = nullptr;
  uint32_t os_mode = 0;
  OS_ReleaseFunction release_name = nullptr;  // set for temporary files, which own descriptor and path
};

FileDevice* self(FMGR_Device* device) {
  return static_cast<FileDevice*>(device);
}

struct NarrowPath {
  using Char = char;
  static constexpr auto kOps = &kFileOps;
  static constexpr auto kOpen = &OS_FileOpen;
  static constexpr auto kDelete = &OS_FileDelete;
  static constexpr auto kDiskFreeBytes = &OS_DiskFreeBytes;
  static constexpr auto kTempName = &OS_TempName;
  static constexpr auto kPath = &decltype(FMGR_Descriptor::source)::path;
};

struct WidePath {
  using Char = char16_t;
  static constexpr auto kOps = &kWideFileOps;
  static constexpr auto kOpen = &OS_FileOpenW;
  static constexpr auto kDelete = &OS_FileDeleteW;
  static constexpr auto kDiskFreeBytes = &OS_DiskFreeBytesW;
  static constexpr auto kTempName = &OS_TempNameW;
  static constexpr auto kPath = &decltype(FMGR_Descriptor::source)::wide_path;
};

template <class Path>
const typename Path::Char* path_of(const FMGR_Descriptor* descriptor) {
  return descriptor->source.*Path::kPath;
}

template <class Path>
FMGR_Device* open(const FMGR_Descriptor* descriptor, uint32_t os_mode, FMGR_Stream* owner) {
  std::unique_ptr<FileDevice> device(new (std::nothrow) FileDevice);
  if (!device) return nullptr;
  device->ops = Path::kOps;
  device->owner = owner;
  device->descriptor = descriptor;
  device->os_mode = os_mode;
  if (Path::kOpen(&device->handle, path_of<Path>(descriptor), os_mode) != FMGR_OK) return nullptr;
  return device.release();
}

template <class Path>
int32_t close(FMGR_Device* device) {
  const std::unique_ptr<FileDevice> file(self(device));
  OS_FileClose(file->handle);
  if (file->release_name != nullptr) {
    const std::unique_ptr<const FMGR_Descriptor> descriptor(file->descriptor);
    const typename Path::Char* name = path_of<Path>(descriptor.get());
    Path::kDelete(name);
    file->release_name(const_cast<typename Path::Char*>(name));
  }
  return FMGR_OK;
}

int32_t read(FMGR_Device* device, void* buffer, uint32_t count) {
  uint32_t moved = 0;
  const int32_t status = OS_FileRead(self(device)->handle, buffer, count, &moved);
  return status == FMGR_OK ? static_cast<int32_t>(moved) : status;
}

int32_t write(FMGR_Device* device, const void* buffer, uint32_t count) {
  uint32_t moved = 0;
  const int32_t status = OS_FileWrite(self(device)->handle, buffer, count, &moved);
  return status == FMGR_OK ? static_cast<int32_t>(moved) : status;
}

int32_t seek(FMGR_Device* device, uint32_t offset_low, uint32_t offset_high, int32_t whence) {
  return OS_FileSeek(self(device)->handle, offset_low, offset_high, whence);
}

int32_t tell(FMGR_Device* device, uint64_t* position) {
  return OS_FileTell(self(device)->handle, position);
}

int32_t flush(FMGR_Device* device) {
  return OS_FileFlush(self(device)->handle);
}

int32_t size(FMGR_Device* device, uint64_t* bytes) {
  return OS_FileSize(self(device)->handle, bytes);
}

template <class Path>
int32_t remove(const void* path) {
  return Path::kDelete(static_cast<const typename Path::Char*>(path));
}

template <class Path>
FMGR_Device* create_temporary(const FMGR_Descriptor* descriptor, const FMGR_Descriptor** temporary,
                              FMGR_Stream* owner) {
  OS_ReleaseFunction release = nullptr;
  typename Path::Char* name = Path::kTempName(path_of<Path>(descriptor), &release);
  if (name == nullptr) return nullptr;
  std::unique_ptr<FMGR_Descriptor> named(new (std::nothrow) FMGR_Descriptor(*descriptor));
  if (named) named->source.*Path::kPath = name;
  FMGR_Device* device = named ? open<Path>(named.get(), OS_OPEN_READWRITE, owner) : nullptr;
  if (device == nullptr) {
    release(name);
    return nullptr;
  }
  self(device)->release_name = release;
  *temporary = named.release();
  return device;
}

template <class Path>
int32_t free_space(FMGR_Device* device, uint64_t* bytes) {
  return Path::kDiskFreeBytes(path_of<Path>(self(device)->descriptor), bytes);
}

template <class Path>
constexpr FMGR_DeviceOps make_ops() {
  return {
      .open = &open<Path>,
      .close = &close<Path>,
      .read = &read,
      .write = &write,
      .seek = &seek,
      .tell = &tell,
      .flush = &flush,
      .size = &size,
      .remove = &remove<Path>,
      .create_temporary = &create_temporary<Path>,
      .free_space = &free_space<Path>,
      .unused = nullptr,
  };
}

}  // namespace

constinit const FMGR_DeviceOps kFileOps = make_ops<NarrowPath>();
constinit const FMGR_DeviceOps kWideFileOps = make_ops<WidePath>();

}  // namespace zdr::fmgr
