// The filter mapper: its entries in the registry, byte for byte where the form is known from exports of real
// registries.
#include <com_ptr.h>
#include <dshow.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/com/registry_key.h"
#include "tests/support/registry_file.h"

namespace zdr::test {
namespace {

constexpr CLSID kFilter = com::guid("11111111-2222-3333-4444-AAAAAAAAAAAA");

std::string hex(const std::vector<BYTE>& bytes) {
  std::string text;
  for (const BYTE byte : bytes) text += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
  return text;
}

TEST(FilterMapper, StoresPinsTheirTypesAndEachGuidOnce) {
  const RegistryFile registry;
  com::ComPtr<IFilterMapper2> mapper;
  ASSERT_EQ(CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                             mapper.out_void()),
            S_OK);
  const REGPINTYPES types[] = {{&MEDIATYPE_Stream, nullptr}, {&MEDIATYPE_Video, &MEDIATYPE_Stream}};
  REGFILTERPINS pins[2] = {};
  pins[0].bOutput = pins[0].bMany = TRUE;
  pins[0].nMediaTypes = 2;
  pins[0].lpMediaType = types;
  pins[1].bRendered = pins[1].bZero = TRUE;
  pins[1].nMediaTypes = 5;  // without a list there are none
  const REGFILTER2 record{1, MERIT_NORMAL, 2, pins};
  EXPECT_EQ(mapper->RegisterFilter(kFilter, u"Test filter", nullptr, nullptr, nullptr, &record), S_OK);
  // After the tags "0pi3", "0ty3" and so on: flags, instances, types, mediums, category; 0 and two offsets.
  const char* expected =
      "02000000000060000200000000000000"
      "307069330c0000000000000002000000000000000000000030747933000000006000000070000000"
      "31747933000000008000000060000000"
      "317069330300000000000000000000000000000000000000"
      "83eb36e44f52ce119f530020af0ba77000000000000000000000000000000000"
      "7669647300001000800000aa00389b71";
  const std::u16string key =
      com::class_key(CLSID_LegacyAmFilterCategory) + u"\\Instance\\" + com::braced_text(kFilter);
  EXPECT_EQ(hex(registry.data(key, u"FilterData")), expected);
  EXPECT_EQ(registry.text(key, u"FriendlyName"), u"Test filter");
  EXPECT_EQ(registry.text(key, u"CLSID"), com::braced_text(kFilter));
  EXPECT_EQ(mapper->UnregisterFilter(nullptr, nullptr, kFilter), S_OK);
  EXPECT_FALSE(RegistryFile::has_key(key));
  EXPECT_EQ(mapper->UnregisterFilter(nullptr, nullptr, kFilter), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
}

}  // namespace
}  // namespace zdr::test
