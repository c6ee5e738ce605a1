// The enumerators over pins and media types, while the list of pins changes.
#include <gtest/gtest.h>

#include <string>

#include "tests/platform/dshow/any_filter.h"

namespace zdr::test {
namespace {

using com::ComPtr;

// Offers one type for each letter of its list, with the letter in the sub type.
class LetterPin final : public AgreeingPin {
 public:
  LetterPin(CBaseFilter* filter, CCritSec* lock) : AgreeingPin(filter, lock, u"letters", PINDIR_OUTPUT) {}

  HRESULT GetMediaType(int position, CMediaType* type) override {
    if (position < 0) return E_INVALIDARG;
    if (static_cast<std::size_t>(position) >= letters.size()) return VFW_S_NO_MORE_ITEMS;
    type->majortype = MEDIATYPE_Stream;
    type->subtype.Data1 = static_cast<DWORD>(letters[static_cast<std::size_t>(position)]);
    return S_OK;
  }

  std::string letters = "abc";
};

// A filter whose list of pins is a text: the letters a to e name five pins, '-' a missing one.
class LetterFilter final : public AnyFilter {
 public:
  LetterFilter() {
    for (int i = 0; i < 5; ++i) add<LetterPin>();
  }
  int GetPinCount() override { return static_cast<int>(order.size()); }
  CBasePin* GetPin(int index) override {
    const char letter = order[static_cast<std::size_t>(index)];
    return letter == '-' ? nullptr : &pin(letter);
  }
  LetterPin& pin(char letter) { return static_cast<LetterPin&>(*AnyFilter::GetPin(letter - 'a')); }
  char letter_of(IPin* wanted) {
    for (char letter = 'a'; letter <= 'e'; ++letter) {
      if (static_cast<IPin*>(&pin(letter)) == wanted) return letter;
    }
    return '?';
  }
  void change(const std::string& new_order) {
    order = new_order;
    IncrementPinVersion();
  }

  std::string order = "abc";
};

class EnumPins : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(filter->EnumPins(pins.out()), S_OK); }

  // The letters that Next returns, then '.' for S_FALSE or '!' for out of sync.
  std::string next(ULONG count, IEnumPins* enumerator = nullptr) {
    IPin* array[8] = {};
    ULONG fetched = 99;
    const HRESULT hr = (enumerator == nullptr ? pins.get() : enumerator)->Next(count, array, &fetched);
    std::string letters;
    for (ULONG i = 0; i < fetched; ++i) {
      letters += filter->letter_of(array[i]);
      array[i]->Release();
    }
    if (hr == S_FALSE) letters += '.';
    if (hr == VFW_E_ENUM_OUT_OF_SYNC) letters += '!';
    return letters;
  }

  ComPtr<LetterFilter> filter{new LetterFilter};
  ComPtr<IEnumPins> pins;
};

TEST_F(EnumPins, WalksInOrderAndReportsWhenFewerAreLeft) {
  EXPECT_EQ(next(2), "ab");
  EXPECT_EQ(next(2), "c.");
  EXPECT_EQ(next(1), ".");
  EXPECT_EQ(pins->Reset(), S_OK);
  EXPECT_EQ(pins->Skip(2), S_OK);
  // Past the end the position does not move.
  EXPECT_EQ(pins->Skip(2), S_FALSE);
  ComPtr<IEnumPins> clone;
  ASSERT_EQ(pins->Clone(clone.out()), S_OK);
  EXPECT_EQ(next(1), "c");
  EXPECT_EQ(next(1, clone.get()), "c");
  IPin* array[2] = {};
  EXPECT_EQ(pins->Next(2, array, nullptr), E_INVALIDARG);
}

TEST_F(EnumPins, RestartsAfterAChangeWithoutRepeatingAPin) {
  EXPECT_EQ(next(2), "ab");
  filter->change("cbad");
  EXPECT_EQ(pins->Skip(1), VFW_E_ENUM_OUT_OF_SYNC);
  ComPtr<IEnumPins> clone;
  EXPECT_EQ(pins->Clone(clone.out()), VFW_E_ENUM_OUT_OF_SYNC);
  EXPECT_EQ(next(1), "c");
  // In sync again. The clone remembers which pins the original has returned.
  ASSERT_EQ(pins->Clone(clone.out()), S_OK);
  EXPECT_EQ(next(3), "d.");
  EXPECT_EQ(next(3, clone.get()), "d.");
  EXPECT_EQ(pins->Reset(), S_OK);
  EXPECT_EQ(next(4), "cbad");
}

TEST_F(EnumPins, ReturnsNothingWhenAPinIsMissingInTheMiddle) {
  filter->change("ab-c");
  EXPECT_EQ(next(1), "a");
  // The walk is undone, so b is not lost.
  EXPECT_EQ(next(3), "!");
  EXPECT_EQ(next(1), "b");
}

class EnumMediaTypes : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(pin.EnumMediaTypes(types.out()), S_OK); }

  std::string next(ULONG count) {
    AM_MEDIA_TYPE* array[8] = {};
    ULONG fetched = 99;
    const HRESULT hr = types->Next(count, array, &fetched);
    std::string letters;
    for (ULONG i = 0; i < fetched; ++i) {
      letters += static_cast<char>(array[i]->subtype.Data1);
      DeleteMediaType(array[i]);
    }
    if (hr == S_FALSE) letters += '.';
    return letters;
  }

  ComPtr<LetterFilter> filter{new LetterFilter};
  LetterPin& pin = filter->pin('a');
  ComPtr<IEnumMediaTypes> types;
};

TEST_F(EnumMediaTypes, WalksTheTypesOfThePin) {
  EXPECT_EQ(next(2), "ab");
  ComPtr<IEnumMediaTypes> clone;
  ASSERT_EQ(types->Clone(clone.out()), S_OK);
  EXPECT_EQ(next(2), "c.");
  AM_MEDIA_TYPE* type = nullptr;
  ASSERT_EQ(clone->Next(1, &type, nullptr), S_OK);
  EXPECT_EQ(type->subtype.Data1, DWORD{'c'});
  DeleteMediaType(type);
  AM_MEDIA_TYPE* array[2] = {};
  EXPECT_EQ(types->Next(2, array, nullptr), E_INVALIDARG);
}

TEST_F(EnumMediaTypes, KeptSkipMovesPastTheEnd) {
  EXPECT_EQ(types->Skip(3), S_OK);
  EXPECT_EQ(types->Skip(1), S_FALSE);
  EXPECT_EQ(types->Skip(0), S_OK);
  types->Reset();
  EXPECT_EQ(types->Skip(5), S_FALSE);
  pin.letters = "abcdefg";
  EXPECT_EQ(next(1), "f");
  EXPECT_EQ(types->Skip(0xFFFFFFFF), S_FALSE);
  EXPECT_EQ(next(1), ".");
}

}  // namespace
}  // namespace zdr::test
