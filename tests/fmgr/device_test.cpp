// Devices through their tables of operations, including operations that no stream uses, and the modes in
// which they open.
#include "fmgr/device.h"

#include <gtest/gtest.h>

#include "fmgr/open_mode.h"
#include "mediakit/files/sources.h"
#include "os/os.h"

namespace zdr::test {
namespace {

using fmgr::AccessClass;

struct DeviceCloser {
  void operator()(FMGR_Device* device) const { EXPECT_EQ(device->ops->close(device), FMGR_OK); }
};
using Device = std::unique_ptr<FMGR_Device, DeviceCloser>;

TEST(StatusCodes, HaveFixedNumbers) {
  const std::vector<int32_t> codes = {FMGR_ERR_GENERIC, FMGR_ERR_NO_MEMORY, FMGR_ERR_TOO_LARGE,
                                      FMGR_ERR_READ,    FMGR_ERR_OPEN,      FMGR_ERR_BAD_ARGUMENT,
                                      FMGR_ERR_WRITE,   FMGR_ERR_SEEK,      FMGR_ERR_NOT_SUPPORTED};
  EXPECT_EQ(codes, (std::vector<int32_t>{-6001, -6002, -6003, -6006, -6007, -6009, -6010, -6012, -6015}));
}

Device open(const Source& source, uint32_t mode = OS_OPEN_READ) {
  return Device(fmgr::open_device(source.descriptor(), mode, nullptr));
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

TEST(Devices, KeptOnlyTypesOfTheFirstListOpen) {
  Source source(FMGR_DEV_CALLBACK_RW, "x");
  for (const uint32_t type :
       {0u, 99u, 102u, uint32_t{FMGR_DEV_RESERVED}, 107u, uint32_t{FMGR_DEV_CALLBACK_RW}, ~0u}) {
    source.descriptor().type = type;
    EXPECT_EQ(open(source), nullptr) << type;
  }
}

TEST(Devices, RefuseOperationsThatTheirTypeDoesNotHave) {
  uint64_t number = 0;
  for (const FMGR_DeviceOps* ops : {&fmgr::kCallbackOps, &fmgr::kMemoryOps, &fmgr::kReservedOps}) {
    EXPECT_EQ(ops->write(nullptr, "x", 1), FMGR_ERR_NOT_SUPPORTED);
    EXPECT_EQ(ops->flush(nullptr), FMGR_ERR_NOT_SUPPORTED);
    EXPECT_EQ(ops->free_space(nullptr, &number), FMGR_ERR_NOT_SUPPORTED);
    EXPECT_EQ(ops->create_temporary(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(ops->remove(nullptr), ops == &fmgr::kCallbackOps ? FMGR_OK : FMGR_ERR_NOT_SUPPORTED);
  }
  const FMGR_DeviceOps& reserved = fmgr::kReservedOps;
  EXPECT_EQ(reserved.open(nullptr, OS_OPEN_READ, nullptr), nullptr);
  EXPECT_EQ(reserved.read(nullptr, &number, 1), FMGR_ERR_NOT_SUPPORTED);
  EXPECT_EQ(reserved.seek(nullptr, 0, 0, FMGR_SEEK_SET), FMGR_ERR_NOT_SUPPORTED);
}

TEST(FileDevice, WritesAndDeletesItsTemporaryFiles) {
  for (const uint32_t type : {FMGR_DEV_FILE, FMGR_DEV_FILE_W}) {
    const Source source(type, "0123456789");
    const Device device = open(source, OS_OPEN_READWRITE);
    EXPECT_EQ(seek(device, -2, FMGR_SEEK_END), FMGR_OK);
    EXPECT_EQ(device->ops->write(device.get(), "abcd", 4), 4);
    EXPECT_EQ(position(device), 12u);
    EXPECT_EQ(device->ops->flush(device.get()), FMGR_OK);
    EXPECT_EQ(read_file(source.path()), "01234567abcd");
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
  Source source(FMGR_DEV_CALLBACK_RW, "0123456789");
  const FMGR_DeviceOps& ops = fmgr::kCallbackReadWriteOps;
  const auto open_it = [&] { return Device(ops.open(&source.descriptor(), OS_OPEN_READWRITE, nullptr)); };
  const Device device = open_it();
  ASSERT_NE(device, nullptr);
  const std::tuple<int64_t, int32_t, uint64_t> kSeeks[] = {
      {3, FMGR_SEEK_CURRENT, 3}, {4, FMGR_SEEK_SET, 4}, {5, 9, 4}, {-1, FMGR_SEEK_END, 9}};
  for (const auto& [offset, whence, expected] : kSeeks) {
    EXPECT_EQ(seek(device, offset, whence), FMGR_OK);
    EXPECT_EQ(position(device), expected);
  }
  char buffer[16];
  EXPECT_EQ(ops.read(device.get(), buffer, 16), 1);
  source.callback_excess = 16;
  EXPECT_EQ(ops.read(device.get(), buffer, 16), 16);
  source.callback_excess = 17;
  EXPECT_EQ(ops.read(device.get(), buffer, 16), -1) << "more than requested";
  source.callback_excess = 0;
  EXPECT_EQ(seek(device, 8, FMGR_SEEK_SET), FMGR_OK);
  EXPECT_EQ(ops.write(device.get(), "abcd", 4), 4);
  EXPECT_EQ(source.content(), "01234567abcd");
  source.callback_status = 5;
  EXPECT_EQ(ops.read(device.get(), buffer, 16), -1);
  EXPECT_EQ(ops.write(device.get(), "abcd", 4), -1);
  EXPECT_EQ(seek(device, 0, FMGR_SEEK_END), FMGR_OK);
  EXPECT_EQ(position(device), 12u) << "only the write that succeeded extends the device";
  EXPECT_NE(open_it(), nullptr);
  source.descriptor().source.callback_rw.caller = nullptr;
  EXPECT_EQ(open_it(), nullptr);
}

TEST(MemoryDevice, KeptOffsetsAboveTheSizeAreRefusedFromEveryOrigin) {
  constexpr uint64_t kBefore = 4;
  constexpr uint64_t kRefused = 77;
  static constexpr std::tuple<int64_t, int32_t, uint64_t> kCases[] = {
      {11, FMGR_SEEK_SET, kRefused},     {10, FMGR_SEEK_CURRENT, 14},
      {11, FMGR_SEEK_CURRENT, kRefused}, {-4, FMGR_SEEK_CURRENT, 0},
      {-5, FMGR_SEEK_CURRENT, kRefused}, {0, FMGR_SEEK_END, 10},
      {1, FMGR_SEEK_END, kRefused},      {-10, FMGR_SEEK_END, 0},
      {-11, FMGR_SEEK_END, kRefused},    {3, 9, kBefore}};
  Source source(FMGR_DEV_MEMORY, "0123456789");
  const Device device = open(source);
  char buffer[16];
  for (const auto& [offset, whence, expected] : kCases) {
    SCOPED_TRACE(testing::Message() << offset << " from " << whence);
    EXPECT_EQ(seek(device, kBefore, FMGR_SEEK_SET), FMGR_OK);
    EXPECT_EQ(seek(device, offset, whence), expected == kRefused ? FMGR_ERR_GENERIC : FMGR_OK);
    const uint64_t reached = expected == kRefused ? kBefore : expected;
    EXPECT_EQ(position(device), reached);
    EXPECT_EQ(device->ops->read(device.get(), buffer, 16), 10 - std::min(static_cast<int>(reached), 10));
  }
  source.descriptor().source.memory.base = nullptr;
  EXPECT_EQ(open(source), nullptr);
}

TEST(OpenMode, KeptDeviceModeAndAccessClassAreParsedSeparately) {
  using enum AccessClass;
  constexpr uint32_t kNone = OS_OPEN_APPEND + 1;
  static constexpr std::tuple<const char*, uint32_t, std::optional<AccessClass>> kCases[] = {
      {"rb", OS_OPEN_READ, kRead},     {"rb+", OS_OPEN_READWRITE, kUpdate},
      {"rt+", OS_OPEN_READ, kUpdate},  {"w", OS_OPEN_WRITE, kWrite},
      {"wb", OS_OPEN_WRITE, kWrite},   {"wt", OS_OPEN_WRITE, {}},
      {"wr", OS_OPEN_WRITE, kRead},    {"w+", OS_OPEN_CREATE_READWRITE, kUpdate},
      {"a", kNone, kAppend},           {"ab", OS_OPEN_APPEND, kAppend},
      {"a+", OS_OPEN_APPEND, kAppend}, {"br", OS_OPEN_READWRITE, kRead},
      {"", OS_OPEN_READWRITE, {}}};
  const Source source(FMGR_DEV_FILE, "");
  const Context context = make_context(0, 0);
  for (const auto& [mode, os_mode, access] : kCases) {
    SCOPED_TRACE(mode);
    EXPECT_EQ(fmgr::os_open_mode(mode), os_mode);
    EXPECT_EQ(fmgr::access_class(mode), access);
    write_file(source.path(), "0123456789");
    const Stream stream = open_stream(source, mode, context);
    EXPECT_EQ(stream != nullptr, access && os_mode != kNone);
    EXPECT_TRUE(!stream || tell(stream) == (access == kAppend ? 10u : 0u));
  }
}

}  // namespace
}  // namespace zdr::test
