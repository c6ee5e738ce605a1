// Mode strings, by themselves and when a file is opened.
#include "fmgr/open_mode.h"

#include <gtest/gtest.h>

#include "mediakit/files/sources.h"
#include "os/os.h"

namespace zdr::test {
namespace {

using fmgr::AccessClass;

constexpr uint32_t kNone = OS_OPEN_APPEND + 1;

TEST(OpenMode, KeptDeviceModeAndAccessClassAreParsedSeparately) {
  static constexpr std::tuple<const char*, uint32_t, std::optional<AccessClass>> kCases[] = {
      {"r", OS_OPEN_READ, AccessClass::kRead},
      {"rb", OS_OPEN_READ, AccessClass::kRead},
      {"r+", OS_OPEN_READWRITE, AccessClass::kUpdate},
      {"r+b", OS_OPEN_READWRITE, AccessClass::kUpdate},
      {"rb+", OS_OPEN_READWRITE, AccessClass::kUpdate},
      {"rt+", OS_OPEN_READ, AccessClass::kUpdate},
      {"w", OS_OPEN_WRITE, AccessClass::kWrite},
      {"wb", OS_OPEN_WRITE, AccessClass::kWrite},
      {"wt", OS_OPEN_WRITE, std::nullopt},
      {"wr", OS_OPEN_WRITE, AccessClass::kRead},
      {"w+", OS_OPEN_CREATE_READWRITE, AccessClass::kUpdate},
      {"w+b", OS_OPEN_CREATE_READWRITE, AccessClass::kUpdate},
      {"wb+", OS_OPEN_CREATE_READWRITE, AccessClass::kUpdate},
      {"a", kNone, AccessClass::kAppend},
      {"at+", kNone, AccessClass::kAppend},
      {"ab", OS_OPEN_APPEND, AccessClass::kAppend},
      {"a+", OS_OPEN_APPEND, AccessClass::kAppend},
      {"ra", OS_OPEN_READ, AccessClass::kAppend},
      {"br", OS_OPEN_READWRITE, AccessClass::kRead},
      {"+", OS_OPEN_READWRITE, AccessClass::kUpdate},
      {"x", OS_OPEN_READWRITE, std::nullopt},
      {"", OS_OPEN_READWRITE, std::nullopt}};
  const Source source(FMGR_DEV_FILE, "0123456789");
  const Context context = make_context(0, 0);
  for (const auto& [mode, os_mode, access] : kCases) {
    SCOPED_TRACE(mode);
    EXPECT_EQ(fmgr::os_open_mode(mode), os_mode);
    EXPECT_EQ(fmgr::access_class(mode), access);
    write_file(source.path(), "0123456789");
    const Stream stream = open_stream(source, mode, context);
    EXPECT_EQ(stream != nullptr, access && os_mode != kNone);
    if (!stream) continue;
    EXPECT_EQ(tell(stream), access == AccessClass::kAppend ? 10u : 0u);
  }
}

}  // namespace
}  // namespace zdr::test
