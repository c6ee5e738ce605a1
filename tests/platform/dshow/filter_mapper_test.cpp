// The filter mapper: its entries in the registry, byte for byte where the form is known from exports of real
// registries.
#include <com_ptr.h>
#include <dshow.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/com/registry_key.h"
#include "tests/platform/fault_at.h"
#include "tests/support/registry_file.h"

namespace zdr::test {
namespace {

constexpr CLSID kFilter = com::guid("11111111-2222-3333-4444-AAAAAAAAAAAA");

class FilterMapper : public testing::Test {
 protected:
  FilterMapper() {
    EXPECT_EQ(CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                               mapper_.out_void()),
              S_OK);
  }

  HRESULT register_filter(const REGFILTER2* record, LPCWSTR name = u"Test filter") {
    return mapper_->RegisterFilter(kFilter, name, nullptr, nullptr, nullptr, record);
  }

  RegistryFile registry_;
  com::ComPtr<IFilterMapper2> mapper_;
};

std::string hex(const std::vector<BYTE>& bytes) {
  std::string text;
  for (const BYTE byte : bytes) text += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
  return text;
}

TEST_F(FilterMapper, StoresPinsTheirTypesAndEachGuidOnce) {
  const REGPINTYPES types[] = {{&MEDIATYPE_Stream, nullptr}, {&MEDIATYPE_Video, &MEDIATYPE_Stream}};
  REGFILTERPINS pins[2] = {};
  pins[0].bOutput = pins[0].bMany = TRUE;
  pins[0].nMediaTypes = 2;
  pins[0].lpMediaType = types;
  pins[1].bRendered = pins[1].bZero = TRUE;
  pins[1].nMediaTypes = 5;  // without a list there are none
  const REGFILTER2 record{1, MERIT_NORMAL, 2, pins};
  EXPECT_EQ(register_filter(&record), S_OK);
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
  EXPECT_EQ(hex(registry_.data(key, u"FilterData")), expected);
  EXPECT_EQ(registry_.text(key, u"FriendlyName"), u"Test filter");
  EXPECT_EQ(registry_.text(key, u"CLSID"), com::braced_text(kFilter));
  EXPECT_EQ(mapper_->UnregisterFilter(nullptr, nullptr, kFilter), S_OK);
  EXPECT_FALSE(RegistryFile::has_key(key));
  EXPECT_EQ(mapper_->UnregisterFilter(nullptr, nullptr, kFilter), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
}

TEST_F(FilterMapper, RefusesWhatItDoesNotStore) {
  const REGFILTER2 good{1, MERIT_NORMAL, 0, nullptr};
  const REGFILTER2 no_pins{1, MERIT_NORMAL, 1, nullptr};
  const REGFILTER2 version_2{2, MERIT_NORMAL, 0, nullptr};
  EXPECT_EQ(register_filter(&good), S_OK);
  EXPECT_EQ(register_filter(&no_pins), E_INVALIDARG);
  EXPECT_EQ(register_filter(&version_2), E_INVALIDARG);
  EXPECT_EQ(register_filter(nullptr), E_POINTER);
  EXPECT_EQ(register_filter(&good, nullptr), E_POINTER);
  IMoniker* moniker = reinterpret_cast<IMoniker*>(this);
  EXPECT_EQ(mapper_->RegisterFilter(kFilter, u"Name", &moniker, nullptr, nullptr, &good), E_NOTIMPL);
  EXPECT_EQ(moniker, nullptr);
  EXPECT_EQ(mapper_->RegisterFilter(kFilter, u"Name", nullptr, &kFilter, nullptr, &good), E_NOTIMPL);
  EXPECT_EQ(mapper_->RegisterFilter(kFilter, u"Name", nullptr, nullptr, u"instance", &good), E_NOTIMPL);
  EXPECT_EQ(mapper_->UnregisterFilter(&kFilter, nullptr, kFilter), E_NOTIMPL);
  EXPECT_EQ(mapper_->UnregisterFilter(nullptr, u"instance", kFilter), E_NOTIMPL);
  const FaultAt fault(platform::FaultPoint::kRegistryStep, 1);
  EXPECT_EQ(register_filter(&good), VFW_E_BAD_KEY);
}

}  // namespace
}  // namespace zdr::test
