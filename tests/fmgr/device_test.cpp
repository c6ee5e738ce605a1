// Devices through their tables of operations, including the operations that no stream uses.
#include "fmgr/device.h"

#include <gtest/gtest.h>

#include "mediakit/files/sources.h"
#include "os/os.h"

namespace zdr::test {
namespace {

using fmgr::open_device;

struct DeviceCloser {
  void operator()(FMGR_Device* device) const { EXPECT_EQ(device->ops->close(device), FMGR_OK); }
};
using Device = std::unique_ptr<FMGR_Device, DeviceCloser>;

Device open(const Source& source, uint32_t mode = OS_OPEN_READ) {
  return Device(open_device(source.descriptor(), mode, nullptr));
}

int32_t seek(const Device& device, int64_t offset, int32_t whence) {
  const auto words = static_cast<uint64_t>(offset);
  return device->ops->seek(device.get(), static_cast<uint32_t>(words), static_cast<uint32_t>(words >> 32),
                           whence);
}

uint64_t position(const Device& device) {
  uint64_t bytes = 77;
  EXPECT_EQ(device->ops->tell(device.get(), &bytes), FMGR_OK);
  return bytes;
}

uint64_t size(const Device& device) {
  uint64_t bytes = 77;
  EXPECT_EQ(device->ops->size(device.get(), &bytes), FMGR_OK);
  return bytes;
}

TEST(Devices, KeptOnlyTypesOfTheFirstListOpen) {
  const Context context = make_context(0, 0);
  for (const uint32_t type : kOpenTypes) {
    const Source source(type, "x");
    EXPECT_NE(open_stream(source, "rb", context), nullptr) << type;
  }
  Source source(FMGR_DEV_CALLBACK_RW, "x");
  for (const uint32_t type :
       {0u, 99u, 102u, uint32_t{FMGR_DEV_RESERVED}, 107u, uint32_t{FMGR_DEV_CALLBACK_RW}, ~0u}) {
    source.descriptor().type = type;
    EXPECT_EQ(open_stream(source, "rb", context), nullptr) << type;
  }
}

TEST(Devices, RefuseOperationsThatTheyDoNotHave) {
  char byte = 0;
  uint64_t number = 0;
  const FMGR_Descriptor* temporary = nullptr;
  for (const FMGR_DeviceOps* ops : {&fmgr::kReservedOps, &fmgr::kMemoryOps, &fmgr::kCallbackOps}) {
    FMGR_Device device = {ops, nullptr};
    EXPECT_EQ(ops->write(&device, &byte, 1), FMGR_ERR_NOT_SUPPORTED);
    EXPECT_EQ(ops->flush(&device), FMGR_ERR_NOT_SUPPORTED);
    EXPECT_EQ(ops->free_space(&device, &number), FMGR_ERR_NOT_SUPPORTED);
    EXPECT_EQ(ops->remove("x"), ops == &fmgr::kCallbackOps ? FMGR_OK : FMGR_ERR_NOT_SUPPORTED);
    EXPECT_EQ(ops->create_temporary(nullptr, &temporary, nullptr), nullptr);
    if (ops != &fmgr::kReservedOps) continue;
    for (const int32_t status :
         {ops->close(&device), ops->read(&device, &byte, 1), ops->seek(&device, 0, 0, 0),
          ops->tell(&device, &number), ops->size(&device, &number)}) {
      EXPECT_EQ(status, FMGR_ERR_NOT_SUPPORTED);
    }
  }
}

TEST(FileDevice, WritesAndDeletesItsTemporaryFiles) {
  for (const uint32_t type : {FMGR_DEV_FILE, FMGR_DEV_FILE_W, FMGR_DEV_FILE_ALT}) {
    const Source source(type, "0123456789");
    const Device device = open(source, OS_OPEN_READWRITE);
    EXPECT_EQ(seek(device, -2, FMGR_SEEK_END), FMGR_OK);
    EXPECT_EQ(device->ops->write(device.get(), "abcd", 4), 4);
    EXPECT_EQ(position(device), 12u);
    EXPECT_EQ(device->ops->flush(device.get()), FMGR_OK);
    EXPECT_EQ(read_file(source.path()), "01234567abcd");
    EXPECT_EQ(seek(device, -1, FMGR_SEEK_SET), FMGR_ERR_SEEK);
    EXPECT_EQ(device->ops->write(device.get(), "", 0), FMGR_ERR_BAD_ARGUMENT);
    EXPECT_EQ(size(device), 12u);
    uint64_t free_bytes = 0;
    EXPECT_EQ(device->ops->free_space(device.get(), &free_bytes), FMGR_OK);
    EXPECT_GT(free_bytes, 0u);

    const FMGR_Descriptor* named = nullptr;
    Device temporary(device->ops->create_temporary(&source.descriptor(), &named, nullptr));
    ASSERT_NE(temporary, nullptr);
    EXPECT_EQ(named->type, type);
    const std::filesystem::path path = source.path().string() + ".tmp";
    EXPECT_EQ(temporary->ops->write(temporary.get(), "abc", 3), 3);
    EXPECT_EQ(read_file(path), "abc");
    temporary.reset();
    EXPECT_FALSE(std::filesystem::exists(path));
    std::filesystem::create_directory(path);
    EXPECT_EQ(device->ops->create_temporary(&source.descriptor(), &named, nullptr), nullptr);
  }
}

TEST(CallbackDevice, KeptSizeCallbackMayFailButCountsAreChecked) {
  Source source(FMGR_DEV_CALLBACK, "0123456789");
  const Device device = open(source);
  char buffer[16];
  const std::tuple<int64_t, int32_t, uint64_t> kSeeks[] = {
      {4, FMGR_SEEK_SET, 4}, {3, FMGR_SEEK_CURRENT, 7}, {-1, FMGR_SEEK_END, 9}, {5, 9, 9}};
  for (const auto& [offset, whence, expected] : kSeeks) {
    EXPECT_EQ(seek(device, offset, whence), FMGR_OK);
    EXPECT_EQ(position(device), expected);
  }
  EXPECT_EQ(device->ops->read(device.get(), buffer, 16), 1);
  source.callback_excess = 16;
  EXPECT_EQ(device->ops->read(device.get(), buffer, 16), 16);
  source.callback_excess = 17;
  EXPECT_EQ(device->ops->read(device.get(), buffer, 16), -1) << "more than requested";
  source.callback_excess = 0;
  source.callback_status = 5;
  EXPECT_EQ(device->ops->read(device.get(), buffer, 16), -1);
  EXPECT_EQ(position(device), 26u);
  EXPECT_NE(open(source), nullptr);
  source.descriptor().source.callback.caller = nullptr;
  EXPECT_EQ(open(source), nullptr);
}

TEST(CallbackDevice, WritesThroughItsTable) {
  Source source(FMGR_DEV_CALLBACK_RW, "0123456789");
  const auto& ops = fmgr::kCallbackReadWriteOps;
  const Device device(ops.open(&source.descriptor(), OS_OPEN_READWRITE, nullptr));
  ASSERT_NE(device, nullptr);
  EXPECT_EQ(seek(device, 8, FMGR_SEEK_SET), FMGR_OK);
  EXPECT_EQ(ops.write(device.get(), "abcd", 4), 4);
  EXPECT_EQ(source.content(), "01234567abcd");
  EXPECT_EQ(size(device), 12u);
  source.callback_status = 1;
  for (const int64_t place : {4, 30}) {
    EXPECT_EQ(seek(device, place, FMGR_SEEK_SET), FMGR_OK);
    EXPECT_EQ(ops.write(device.get(), "x", 1), -1);
    EXPECT_EQ(size(device), 12u) << "a failed write extends nothing";
  }
}

TEST(MemoryDevice, KeptOffsetsAboveTheSizeAreRefusedFromEveryOrigin) {
  static constexpr std::tuple<int64_t, int32_t, int32_t, uint64_t> kCases[] = {
      {10, FMGR_SEEK_SET, FMGR_OK, 10},
      {11, FMGR_SEEK_SET, FMGR_ERR_GENERIC, 4},
      {-1, FMGR_SEEK_SET, FMGR_ERR_GENERIC, 4},
      {10, FMGR_SEEK_CURRENT, FMGR_OK, 14},
      {11, FMGR_SEEK_CURRENT, FMGR_ERR_GENERIC, 4},
      {-4, FMGR_SEEK_CURRENT, FMGR_OK, 0},
      {-5, FMGR_SEEK_CURRENT, FMGR_ERR_GENERIC, 4},
      {0, FMGR_SEEK_END, FMGR_OK, 10},
      {1, FMGR_SEEK_END, FMGR_ERR_GENERIC, 4},
      {-10, FMGR_SEEK_END, FMGR_OK, 0},
      {-11, FMGR_SEEK_END, FMGR_ERR_GENERIC, 4},
      {3, 9, FMGR_OK, 4},
      {11, 9, FMGR_ERR_GENERIC, 4},
      {INT64_MIN, FMGR_SEEK_END, FMGR_ERR_GENERIC, 4}};
  Source source(FMGR_DEV_MEMORY, "0123456789");
  const Device device = open(source);
  char buffer[16];
  for (const auto& [offset, whence, status, expected] : kCases) {
    SCOPED_TRACE(testing::Message() << offset << " from " << whence);
    EXPECT_EQ(seek(device, 4, FMGR_SEEK_SET), FMGR_OK);
    EXPECT_EQ(seek(device, offset, whence), status);
    EXPECT_EQ(position(device), expected);
    const int64_t left = 10 - static_cast<int64_t>(expected);
    EXPECT_EQ(device->ops->read(device.get(), buffer, 16), std::max<int64_t>(left, 0));
  }
  source.descriptor().source.memory.base = nullptr;
  EXPECT_EQ(open(source), nullptr);
}

}  // namespace
}  // namespace zdr::test
