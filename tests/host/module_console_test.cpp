// The filter module redirects the console output of its libraries to the debugger.
#include <gtest/gtest.h>

#include "host/graph/module_loader.h"
#include "host/text/wide_text.h"
#include "mediakit/files/id3_builder.h"
#include "mediakit/files/temp_folder.h"
#include "tests/filters/debugger_texts.h"

namespace zdr::test {
namespace {

TEST(Console, KeptTextsOfTheModuleAreSentToTheDebugger) {
  const Bytes picture = bytes_of(std::string("\1image/png\0\3\0", 13));
  // The second file is a raw stream of AAC Main: the length of its configuration, the configuration, bytes
  // 0xFF.
  const Bytes contents[] = {id3v2(3, 0, v23_frame("APIC", picture)),
                            concat({{2, 0x0A, 0x10}, Bytes(20, 0xFF)})};
  const TempFolder folder;
  const std::string file = (folder / "clip.aac").string();
  const DebuggerTexts debugger;
  testing::internal::CaptureStderr();
  for (const Bytes& content : contents) {
    write_file(file, {reinterpret_cast<const char*>(content.data()), content.size()});
    host::Messages messages(true);
    HRESULT hr = S_OK;
    const com::ComPtr<IBaseFilter> filter = host::create_source_filter(file, messages, hr);
    com::ComPtr<IFileSourceFilter> loader;
    ASSERT_EQ(filter->QueryInterface(IID_IFileSourceFilter, loader.out_void()), S_OK);
    EXPECT_EQ(loader->Load(host::wide_file_name(file).c_str(), nullptr), VFW_E_INVALID_FILE_FORMAT);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(debugger.all(),
            u"\n Unicode not supported nowlObjectType = 1 =Failed at Zd_AAC_Dec_sParseRawConfigData\n");
}

}  // namespace
}  // namespace zdr::test
