// The filter mapper: what stands in the registry afterwards, byte for byte where the form is known from
// exports of real registries.
#include <dshow.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "com_ptr.h"
#include "platform/com/registry_key.h"
#include "tests/platform/fault_at.h"
#include "tests/support/registry_file.h"

using zdr::com::ComPtr;

namespace {

constexpr CLSID kFilter = zdr::com::guid("11111111-2222-3333-4444-AAAAAAAAAAAA");
constexpr CLSID kCategory = zdr::com::guid("11111111-2222-3333-4444-CCCCCCCCCCCC");

class FilterMapper : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2,
                               mapper_.out_void()),
              S_OK);
  }

  HRESULT register_filter(const REGFILTER2& record, const CLSID* category = nullptr,
                          LPCOLESTR instance = nullptr) {
    return mapper_->RegisterFilter(kFilter, u"Test filter", nullptr, category, instance, &record);
  }

  zdr::tests::RegistryFile registry_;
  ComPtr<IFilterMapper2> mapper_;
};

REGFILTER2 record_without_pins() {
  REGFILTER2 record{};
  record.dwVersion = 1;
  record.dwMerit = MERIT_NORMAL;
  return record;
}

std::vector<BYTE> bytes(std::initializer_list<unsigned> words, std::initializer_list<GUID> pool) {
  std::vector<BYTE> out;
  for (const unsigned word : words) {
    for (unsigned shift = 0; shift < 32; shift += 8) out.push_back(static_cast<BYTE>(word >> shift));
  }
  for (const GUID& guid : pool) {
    const auto* first = reinterpret_cast<const BYTE*>(&guid);
    out.insert(out.end(), first, first + sizeof guid);
  }
  return out;
}

TEST_F(FilterMapper, KeepsVersion2PinsWithCategoryAndMediums) {
  const REGPINTYPES type{&MEDIATYPE_Stream, nullptr};
  const REGPINMEDIUM mediums[] = {{kFilter, 1, 2}, {kFilter, 1, 2}};
  REGFILTERPINS2 pin{};
  pin.dwFlags = REG_PINFLAG_B_OUTPUT;
  pin.cInstances = 3;
  pin.nMediaTypes = 1;
  pin.lpMediaType = &type;
  pin.nMediums = 2;
  pin.lpMedium = mediums;
  pin.clsPinCategory = &kCategory;
  REGFILTER2 record{};
  record.dwVersion = 2;
  record.cPins2 = 1;
  record.rgPins2 = &pin;
  EXPECT_EQ(register_filter(record, &kCategory, u"named"), S_OK);
  // The tags of the pin and of its type are "0pi3" and "0ty3".
  const unsigned pool = 16 + 24 + 16 + 2 * 4;
  std::vector<BYTE> expected = bytes({2, 0, 1, 0, 0x33697030u, REG_PINFLAG_B_OUTPUT, 3, 1, 2, pool,  //
                                      0x33797430u, 0, pool + 16, pool + 32, pool + 48, pool + 48},
                                     {kCategory, MEDIATYPE_Stream, GUID_NULL, kFilter});
  for (const BYTE byte : std::initializer_list<BYTE>{1, 0, 0, 0, 2, 0, 0, 0}) expected.push_back(byte);
  EXPECT_EQ(registry_.data(zdr::com::class_key(kCategory) + u"\\Instance\\named", u"FilterData"), expected);
}

TEST_F(FilterMapper, UnregistersWhatIsThereAndTellsWhatIsNot) {
  constexpr HRESULT kMissing = HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(mapper_->UnregisterFilter(nullptr, nullptr, kFilter), kMissing);
  ASSERT_EQ(register_filter(record_without_pins()), S_OK);
  ASSERT_EQ(register_filter(record_without_pins(), &kCategory, u"named"), S_OK);
  EXPECT_EQ(mapper_->UnregisterFilter(nullptr, nullptr, kFilter), S_OK);
  EXPECT_EQ(mapper_->UnregisterFilter(nullptr, nullptr, kFilter), kMissing);
  EXPECT_EQ(mapper_->UnregisterFilter(&kCategory, u"named", kFilter), S_OK);

  EXPECT_EQ(mapper_->CreateCategory(kCategory, MERIT_NORMAL, u"Tests"), S_OK);
  const std::u16string category =
      u"CLSID\\{DA4E3DA0-D07D-11D0-BD50-00A0C911CE86}\\Instance\\" + zdr::com::braced_text(kCategory);
  EXPECT_EQ(registry_.text(category, u"FriendlyName"), u"Tests");
  EXPECT_EQ(registry_.data(category, u"Merit"), bytes({MERIT_NORMAL}, {}));
}

TEST_F(FilterMapper, RefusesWhatCannotBeKept) {
  const REGFILTER2 good = record_without_pins();
  REGFILTER2 bad = good;
  bad.cPins = 1;
  EXPECT_EQ(register_filter(bad), E_INVALIDARG);
  bad = good;
  bad.dwVersion = 3;
  EXPECT_EQ(register_filter(bad), E_INVALIDARG);
  EXPECT_EQ(register_filter(good, nullptr, u"key\\in key"), VFW_E_BAD_KEY);
  EXPECT_EQ(register_filter(good, nullptr, u""), VFW_E_BAD_KEY);
  EXPECT_EQ(mapper_->UnregisterFilter(nullptr, u"", kFilter), VFW_E_BAD_KEY);
  EXPECT_EQ(mapper_->RegisterFilter(kFilter, nullptr, nullptr, nullptr, nullptr, &good), E_POINTER);
  EXPECT_EQ(mapper_->RegisterFilter(kFilter, u"Name", nullptr, nullptr, nullptr, nullptr), E_POINTER);
  IMoniker* moniker = reinterpret_cast<IMoniker*>(this);
  EXPECT_EQ(mapper_->RegisterFilter(kFilter, u"Name", &moniker, nullptr, nullptr, &good), E_NOTIMPL);
  EXPECT_EQ(moniker, nullptr);
  EXPECT_EQ(mapper_->CreateCategory(kCategory, 0, nullptr), E_POINTER);
  EXPECT_EQ(mapper_->EnumMatchingFilters(nullptr, 0, FALSE, 0, FALSE, 0, nullptr, nullptr, nullptr, FALSE,
                                         FALSE, 0, nullptr, nullptr, nullptr),
            E_NOTIMPL);
  const FaultAt fault(zdr::platform::FaultPoint::kRegistryStep, 1);
  EXPECT_EQ(register_filter(good), VFW_E_BAD_KEY);
}

}  // namespace
