// SingleInterface: the base of objects with one interface that cannot be aggregated.
#pragma once

#include <objbase.h>

#include <atomic>

#include "combase.h"

namespace zdr::dshow {

// Starts with one reference, and deletes itself with the last.
template <class Interface, const IID& kInterface>
class SingleInterface : public Interface {
 public:
  SingleInterface() noexcept = default;
  SingleInterface(const SingleInterface&) = delete;
  SingleInterface& operator=(const SingleInterface&) = delete;

  HRESULT QueryInterface(REFIID riid, void** ppv) override {
    CheckPointer(ppv, E_POINTER);
    if (riid == kInterface || riid == IID_IUnknown) return GetInterface(this, ppv);
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return static_cast<ULONG>(++references_); }
  ULONG Release() override {
    const LONG left = --references_;
    if (left == 0) delete this;
    return static_cast<ULONG>(left);
  }

 protected:
  virtual ~SingleInterface() = default;

 private:
  std::atomic<LONG> references_{1};
};

}  // namespace zdr::dshow
