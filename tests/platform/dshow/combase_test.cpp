// Reference counting, delegation to an outer object, identity.
#include <com_ptr.h>
#include <gtest/gtest.h>
#include <streams.h>

#include <vector>

using zdr::com::ComPtr;

namespace {

// An object with one interface beside IUnknown, and a record of its end.
class Part final : public CUnknown, public IAMFilterMiscFlags {
 public:
  Part(IUnknown* outer, HRESULT* phr, int* destroyed)
      : CUnknown(NAME("Part"), outer, phr), destroyed_(destroyed) {}
  ~Part() override {
    // Whoever is called back from a destructor may take and drop references.
    NonDelegatingAddRef();
    NonDelegatingRelease();
    ++*destroyed_;
  }

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override {
    if (riid == IID_IAMFilterMiscFlags) return GetInterface(static_cast<IAMFilterMiscFlags*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
  }
  ULONG GetMiscFlags() override { return 42; }

 private:
  int* destroyed_;
};

// An object that takes a Part into itself and shows its interface as its own.
class Whole final : public CUnknown, public ISeekingPassThru {
 public:
  explicit Whole(int* destroyed) : CUnknown(NAME("Whole"), nullptr) {
    auto* part = new Part(GetOwner(), nullptr, destroyed);
    part->NonDelegatingAddRef();
    part->NonDelegatingQueryInterface(IID_IUnknown, part_.out_void());
    part->NonDelegatingRelease();
  }

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override {
    if (riid == IID_ISeekingPassThru) return GetInterface(static_cast<ISeekingPassThru*>(this), ppv);
    if (riid == IID_IAMFilterMiscFlags) return part_->QueryInterface(riid, ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
  }
  HRESULT Init(BOOL, IPin*) override { return S_OK; }

 private:
  ComPtr<IUnknown> part_;
};

TEST(Unknown, QueryInterfaceGivesAReferenceOrNothing) {
  int destroyed = 0;
  HRESULT hr = E_FAIL;
  ComPtr<IAMFilterMiscFlags> part(new Part(nullptr, &hr, &destroyed));
  EXPECT_EQ(hr, E_FAIL) << "the constructor has nothing to report";
  EXPECT_EQ(part->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
  void* none = &destroyed;
  EXPECT_EQ(part->QueryInterface(IID_IPin, &none), E_NOINTERFACE);
  EXPECT_EQ(none, nullptr);
  ComPtr<IUnknown> identity;
  EXPECT_EQ(part->QueryInterface(IID_IUnknown, identity.out_void()), S_OK);
  ComPtr<IAMFilterMiscFlags> again;
  EXPECT_EQ(identity->QueryInterface(IID_IAMFilterMiscFlags, again.out_void()), S_OK);
  EXPECT_EQ(again.get(), part.get());

  EXPECT_EQ(again->AddRef(), 4U);
  EXPECT_EQ(again->Release(), 3U);
  part.reset();
  identity.reset();
  EXPECT_EQ(destroyed, 0);
  EXPECT_EQ(CBaseObject::ObjectsActive(), 1);
  again.reset();
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

TEST(Unknown, PartSpeaksForTheWhole) {
  int destroyed = 0;
  auto* whole = new Whole(&destroyed);
  ComPtr<ISeekingPassThru> front(whole);
  ComPtr<IAMFilterMiscFlags> part;
  ASSERT_EQ(front->QueryInterface(IID_IAMFilterMiscFlags, part.out_void()), S_OK);

  EXPECT_TRUE(IsEqualObject(front.get(), part.get()));
  const ComPtr<IAMFilterMiscFlags> stranger(new Part(nullptr, nullptr, &destroyed));
  EXPECT_FALSE(IsEqualObject(front.get(), stranger.get()));
  EXPECT_FALSE(IsEqualObject(front.get(), nullptr));
  ComPtr<ISeekingPassThru> back;
  EXPECT_EQ(part->QueryInterface(IID_ISeekingPassThru, back.out_void()), S_OK);
  EXPECT_EQ(back.get(), front.get());

  // A reference on the part's interface alone keeps the whole.
  front.reset();
  back.reset();
  EXPECT_EQ(destroyed, 0);
  part.reset();
  EXPECT_EQ(destroyed, 1);
}

TEST(ErrorCodes, BecomeFailures) {
  EXPECT_EQ(AmHresultFromWin32(0), static_cast<HRESULT>(0x80070000));
  EXPECT_EQ(AmHresultFromWin32(ERROR_ACCESS_DENIED), E_ACCESSDENIED);
  SetLastError(0);
  EXPECT_EQ(AmGetLastErrorToHResult(), E_FAIL);
  SetLastError(ERROR_ACCESS_DENIED);
  EXPECT_EQ(AmGetLastErrorToHResult(), E_ACCESSDENIED);
}

}  // namespace
