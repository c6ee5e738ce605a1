// CBasePin: the negotiation of a connection, and what both directions share.
#pragma once

#include "base_filter.h"
#include "mtype.h"

// References to a pin are references to its filter and keep the filter alive; the pin's creator deletes it.
// QueryInterface is not forwarded to the filter.
class CBasePin : public CUnknown, public IPin, public IQualityControl {
 public:
  CBasePin(CObjectName object_name, CBaseFilter* filter, CCritSec* lock, HRESULT* phr, LPCWSTR name,
           PIN_DIRECTION direction);
  ~CBasePin() override;

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
  ULONG NonDelegatingAddRef() override;
  ULONG NonDelegatingRelease() override;

  HRESULT Connect(IPin* receiver, const AM_MEDIA_TYPE* type) override;
  HRESULT ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
  HRESULT Disconnect() override;
  HRESULT ConnectedTo(IPin** peer) override;
  HRESULT ConnectionMediaType(AM_MEDIA_TYPE* type) override;
  HRESULT QueryPinInfo(PIN_INFO* info) override;
  HRESULT QueryDirection(PIN_DIRECTION* direction) override;
  HRESULT QueryId(LPWSTR* id) override;
  HRESULT QueryAccept(const AM_MEDIA_TYPE* type) override;
  HRESULT EnumMediaTypes(IEnumMediaTypes** enumerator) override;
  HRESULT QueryInternalConnections(IPin** pins, ULONG* count) override;
  HRESULT EndOfStream() override;
  HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

  HRESULT Notify(IBaseFilter* sender, Quality quality) override;
  HRESULT SetSink(IQualityControl* sink) override;

  BOOL IsConnected() const noexcept { return m_Connected != nullptr; }
  BOOL IsStopped() const noexcept { return m_pFilter->IsStopped(); }
  LPWSTR Name() const noexcept { return m_pName; }

  // The filter calls these for every connected pin: from stopped to paused, from paused to running, and back
  // to stopped.
  virtual HRESULT Active();
  virtual HRESULT Run(REFERENCE_TIME start);
  virtual HRESULT Inactive();

  // Steps of a connection; each may refuse it.
  virtual HRESULT CheckMediaType(const CMediaType* type) = 0;
  virtual HRESULT SetMediaType(const CMediaType* type);
  virtual HRESULT CheckConnect(IPin* peer);
  virtual HRESULT BreakConnect();
  virtual HRESULT CompleteConnect(IPin* receiver);
  // S_OK, VFW_S_NO_MORE_ITEMS past the end, E_INVALIDARG for a negative position.
  virtual HRESULT GetMediaType(int position, CMediaType* type);
  // True if this status of GetMediaType means exhausted memory. The enumerator then fails with E_OUTOFMEMORY:
  // a type must not be missing from the list for lack of memory.
  virtual bool LacksMemory(HRESULT hr) const noexcept { return hr == E_OUTOFMEMORY; }

 protected:
  // Connects with exactly this type; on failure every step is undone.
  HRESULT AttemptConnection(IPin* receiver, const CMediaType* type);
  // Attempts the types of the enumerator in order; if `type` is given, only those that match it.
  HRESULT TryMediaTypes(IPin* receiver, const CMediaType* type, IEnumMediaTypes* enumerator);
  // Attempts `type` alone if it is fully specified. Otherwise attempts the types of both pins, the receiver's
  // first.
  HRESULT AgreeMediaType(IPin* receiver, const CMediaType* type);

  WCHAR* m_pName = nullptr;     // task memory
  IPin* m_Connected = nullptr;  // referenced
  PIN_DIRECTION m_dir;
  CCritSec* m_pLock;  // guards the connection; usually the filter's lock
  CBaseFilter* m_pFilter;
  CMediaType m_mt;  // of the current or last connection

 private:
  // S_OK if the pin can be connected now.
  HRESULT check_connectable() const;
  // CheckMediaType, with every result but S_OK turned into a failure.
  HRESULT check_offered_type(const CMediaType* type);
  HRESULT connect_both_ends(IPin* receiver, const CMediaType* type);
  void set_peer(IPin* peer);
  void release_peer();
};
