// The enumerators over pins and media types, while the list of pins changes.
#include <gtest/gtest.h>

#include <string>

#include "tests/platform/dshow/any_filter.h"

namespace zdr::test {
namespace {

using com::ComPtr;

// A filter whose list of pins is a text: the letters a to e are the names of five pins, '-' is a missing one.
class LetterFilter final : public AnyFilter {
 public:
  LetterFilter() {
    for (const WCHAR* name : {u"a", u"b", u"c", u"d", u"e"}) add<AgreeingPin>(name, PINDIR_OUTPUT, "abc");
  }
  int GetPinCount() override { return static_cast<int>(order_.size()); }
  CBasePin* GetPin(int index) override {
    const char letter = order_[static_cast<std::size_t>(index)];
    return letter == '-' ? nullptr : AnyFilter::GetPin(letter - 'a');
  }
  void change(const std::string& order) {
    order_ = order;
    IncrementPinVersion();
  }

 private:
  std::string order_ = "abc";
};

// The letter of an item, which is released.
char take(IPin* pin) {
  const auto letter = static_cast<char>(static_cast<CBasePin*>(pin)->Name()[0]);
  pin->Release();
  return letter;
}
char take(AM_MEDIA_TYPE* type) {
  const char letter = letter_of(*type);
  DeleteMediaType(type);
  return letter;
}

// The letters that Next returns, then '.' for S_FALSE or '!' for out of sync.
template <class Item = IPin*, class Enumerator>
std::string next(const ComPtr<Enumerator>& enumerator, ULONG count) {
  Item items[8] = {};
  ULONG fetched = 99;
  const HRESULT hr = enumerator->Next(count, items, &fetched);
  std::string letters;
  for (ULONG i = 0; i < fetched; ++i) letters += take(items[i]);
  return letters + (hr == S_FALSE ? "." : hr == VFW_E_ENUM_OUT_OF_SYNC ? "!" : "");
}

class EnumPins : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(filter->EnumPins(pins.out()), S_OK); }

  ComPtr<LetterFilter> filter{new LetterFilter};
  ComPtr<IEnumPins> pins;
  ComPtr<IEnumPins> clone;
};

TEST_F(EnumPins, WalksInOrderAndReportsWhenFewerAreLeft) {
  EXPECT_EQ(next(pins, 2), "ab");
  EXPECT_EQ(next(pins, 2), "c.");
  EXPECT_EQ(pins->Reset(), S_OK);
  EXPECT_EQ(pins->Skip(2), S_OK);
  // Past the end the position does not move.
  EXPECT_EQ(pins->Skip(2), S_FALSE);
  ASSERT_EQ(pins->Clone(clone.out()), S_OK);
  EXPECT_EQ(next(pins, 1), "c");
  EXPECT_EQ(next(clone, 1), "c");
  IPin* array[2] = {};
  EXPECT_EQ(pins->Next(2, array, nullptr), E_INVALIDARG);
}

TEST_F(EnumPins, RestartsAfterAChangeWithoutRepeatingAPin) {
  EXPECT_EQ(next(pins, 2), "ab");
  filter->change("cbad");
  EXPECT_EQ(pins->Skip(1), VFW_E_ENUM_OUT_OF_SYNC);
  EXPECT_EQ(pins->Clone(clone.out()), VFW_E_ENUM_OUT_OF_SYNC);
  EXPECT_EQ(next(pins, 1), "c");
  // In sync again. The clone remembers which pins the original has returned.
  ASSERT_EQ(pins->Clone(clone.out()), S_OK);
  EXPECT_EQ(next(pins, 3), "d.");
  EXPECT_EQ(next(clone, 3), "d.");
  EXPECT_EQ(pins->Reset(), S_OK);
  EXPECT_EQ(next(pins, 4), "cbad");
}

TEST_F(EnumPins, ReturnsNothingWhenAPinIsMissingInTheMiddle) {
  filter->change("ab-c");
  EXPECT_EQ(next(pins, 1), "a");
  // The walk is undone, so b is not lost.
  EXPECT_EQ(next(pins, 3), "!");
  EXPECT_EQ(next(pins, 1), "b");
}

TEST(EnumMediaTypes, KeptSkipMovesPastTheEnd) {
  const ComPtr<LetterFilter> filter(new LetterFilter);
  auto& pin = static_cast<AgreeingPin&>(*filter->GetPin(0));
  ComPtr<IEnumMediaTypes> types;
  ComPtr<IEnumMediaTypes> clone;
  ASSERT_EQ(pin.EnumMediaTypes(types.out()), S_OK);
  const auto next_of = [](const auto& enumerator, ULONG count) {
    return next<AM_MEDIA_TYPE*>(enumerator, count);
  };
  EXPECT_EQ(next_of(types, 2), "ab");
  ASSERT_EQ(types->Clone(clone.out()), S_OK);
  EXPECT_EQ(next_of(types, 2), "c.");
  EXPECT_EQ(next_of(clone, 1), "c");
  AM_MEDIA_TYPE* array[2] = {};
  EXPECT_EQ(types->Next(2, array, nullptr), E_INVALIDARG);

  types->Reset();
  EXPECT_EQ(types->Skip(3), S_OK);
  EXPECT_EQ(types->Skip(1), S_FALSE);
  EXPECT_EQ(types->Skip(0), S_OK);
  types->Reset();
  EXPECT_EQ(types->Skip(5), S_FALSE);
  pin.offers = "abcdefg";
  EXPECT_EQ(next_of(types, 1), "f");
  EXPECT_EQ(types->Skip(0xFFFFFFFF), S_FALSE);
  EXPECT_EQ(next_of(types, 1), ".");
}

}  // namespace
}  // namespace zdr::test
