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

TEST(Unknown, CountsFromZeroAndDestroysItselfOnce) {
  int destroyed = 0;
  HRESULT hr = E_FAIL;
  auto* part = new Part(nullptr, &hr, &destroyed);
  EXPECT_EQ(hr, E_FAIL) << "the constructor has nothing to report";
  EXPECT_EQ(CBaseObject::ObjectsActive(), 1);
  EXPECT_EQ(part->AddRef(), 1U);
  EXPECT_EQ(part->NonDelegatingAddRef(), 2U);
  EXPECT_EQ(part->Release(), 1U);
  EXPECT_EQ(destroyed, 0);
  EXPECT_EQ(part->Release(), 0U);
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

TEST(Unknown, QueryInterfaceGivesAReferenceOrNothing) {
  int destroyed = 0;
  ComPtr<IAMFilterMiscFlags> part(new Part(nullptr, nullptr, &destroyed));
  EXPECT_EQ(part->QueryInterface(IID_IAMFilterMiscFlags, nullptr), E_POINTER);
  EXPECT_EQ(part->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
  void* none = &destroyed;
  EXPECT_EQ(part->QueryInterface(IID_IPin, &none), E_NOINTERFACE);
  EXPECT_EQ(none, nullptr);

  ComPtr<IUnknown> first;
  ComPtr<IUnknown> second;
  EXPECT_EQ(part->QueryInterface(IID_IUnknown, first.out_void()), S_OK);
  EXPECT_EQ(first->QueryInterface(IID_IUnknown, second.out_void()), S_OK);
  EXPECT_EQ(first.get(), second.get());
  ComPtr<IAMFilterMiscFlags> again;
  EXPECT_EQ(second->QueryInterface(IID_IAMFilterMiscFlags, again.out_void()), S_OK);
  EXPECT_EQ(again.get(), part.get());

  part.reset();
  first.reset();
  second.reset();
  EXPECT_EQ(destroyed, 0);
  EXPECT_EQ(again->GetMiscFlags(), 42U);
  again.reset();
  EXPECT_EQ(destroyed, 1);
}

TEST(Unknown, PartSpeaksForTheWhole) {
  int destroyed = 0;
  auto* whole = new Whole(&destroyed);
  ComPtr<ISeekingPassThru> front(whole);
  ComPtr<IAMFilterMiscFlags> part;
  ASSERT_EQ(front->QueryInterface(IID_IAMFilterMiscFlags, part.out_void()), S_OK);

  ComPtr<IUnknown> identity;
  ComPtr<IUnknown> part_identity;
  ASSERT_EQ(front->QueryInterface(IID_IUnknown, identity.out_void()), S_OK);
  ASSERT_EQ(part->QueryInterface(IID_IUnknown, part_identity.out_void()), S_OK);
  EXPECT_EQ(identity.get(), part_identity.get());
  ComPtr<ISeekingPassThru> back;
  EXPECT_EQ(part->QueryInterface(IID_ISeekingPassThru, back.out_void()), S_OK);
  EXPECT_EQ(back.get(), front.get());

  // A reference on the part's interface alone keeps the whole.
  front.reset();
  back.reset();
  identity.reset();
  part_identity.reset();
  EXPECT_EQ(destroyed, 0);
  EXPECT_EQ(part->GetMiscFlags(), 42U);
  part.reset();
  EXPECT_EQ(destroyed, 1);
}

TEST(Unknown, EqualityIsIdentity) {
  int destroyed = 0;
  ComPtr<ISeekingPassThru> whole(new Whole(&destroyed));
  ComPtr<IAMFilterMiscFlags> its_part;
  ASSERT_EQ(whole->QueryInterface(IID_IAMFilterMiscFlags, its_part.out_void()), S_OK);
  ComPtr<IAMFilterMiscFlags> stranger(new Part(nullptr, nullptr, &destroyed));
  EXPECT_TRUE(IsEqualObject(whole.get(), its_part.get()));
  EXPECT_FALSE(IsEqualObject(whole.get(), stranger.get()));
  EXPECT_FALSE(IsEqualObject(whole.get(), nullptr));
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
