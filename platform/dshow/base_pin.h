// CBasePin: negotiation of a connection and what both directions share; the enumerators over pins and types.
#pragma once

#include <atomic>
#include <vector>

#include "base_filter.h"
#include "mtype.h"

// References to a pin are references to its filter: they keep the filter alive, and the filter (or whoever
// made the pin) deletes the pin. QueryInterface is the pin's own.
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
  // Not referenced.
  IPin* GetConnected() const noexcept { return m_Connected; }
  BOOL IsStopped() const noexcept { return m_pFilter->IsStopped(); }
  LPWSTR Name() const noexcept { return m_pName; }

  // Tells enumerators that the list of types has changed.
  virtual LONG GetMediaTypeVersion();
  void IncrementTypeVersion();

  // Called by the filter for every connected pin: stopped to paused, paused to running, and back to stopped.
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

  virtual REFERENCE_TIME CurrentStopTime() { return m_tStop; }
  virtual REFERENCE_TIME CurrentStartTime() { return m_tStart; }
  virtual double CurrentRate() { return m_dRate; }

  void SetReconnectWhenActive(bool can_reconnect) noexcept { m_bCanReconnectWhenActive = can_reconnect; }
  bool CanReconnectWhenActive() const noexcept { return m_bCanReconnectWhenActive; }

 protected:
  // Connects with exactly this type, or undoes every step.
  HRESULT AttemptConnection(IPin* receiver, const CMediaType* type);
  // Attempts each type of the list that matches the partial type, if there is one.
  HRESULT TryMediaTypes(IPin* receiver, const CMediaType* type, IEnumMediaTypes* enumerator);
  // A full type is attempted alone; else the types of both pins are, those of the receiver first.
  HRESULT AgreeMediaType(IPin* receiver, const CMediaType* type);
  HRESULT DisconnectInternal();

  WCHAR* m_pName = nullptr;     // task memory
  IPin* m_Connected = nullptr;  // referenced
  PIN_DIRECTION m_dir;
  CCritSec* m_pLock;  // guards the connection; the filter's lock as a rule
  std::atomic<bool> m_bRunTimeError{false};
  bool m_bCanReconnectWhenActive = false;
  bool m_bTryMyTypesFirst = false;
  CBaseFilter* m_pFilter;
  IQualityControl* m_pQSink = nullptr;  // not referenced
  std::atomic<LONG> m_TypeVersion{1};
  CMediaType m_mt;  // of the present or last connection
  REFERENCE_TIME m_tStart = 0;
  REFERENCE_TIME m_tStop = MAX_TIME;
  double m_dRate = 1.0;

 private:
  // Whether the state of the connection allows a new one.
  HRESULT check_connectable() const;
  // CheckMediaType as a connection sees it: S_OK or a failure.
  HRESULT check_offered_type(const CMediaType* type);
  HRESULT connect_both_ends(IPin* receiver, const CMediaType* type);
  void set_peer(IPin* peer);
  void release_peer();
};

// Walks the pins of a filter, which it keeps alive. After a change of the pins it starts again by itself,
// without returning a pin twice.
class CEnumPins final : public IEnumPins {
 public:
  // A clone continues where the original stands.
  CEnumPins(CBaseFilter* filter, const CEnumPins* original);
  ~CEnumPins();
  CEnumPins(const CEnumPins&) = delete;
  CEnumPins& operator=(const CEnumPins&) = delete;

  HRESULT QueryInterface(REFIID riid, void** ppv) override;
  ULONG AddRef() override;
  ULONG Release() override;
  HRESULT Next(ULONG count, IPin** pins, ULONG* fetched) override;
  HRESULT Skip(ULONG count) override;
  HRESULT Reset() override;
  HRESULT Clone(IEnumPins** clone) override;

 private:
  bool out_of_sync() const { return m_pFilter->GetPinVersion() != m_Version; }
  void restart();

  int m_Position = 0;
  int m_PinCount = 0;
  CBaseFilter* m_pFilter;
  LONG m_Version = 0;
  std::vector<CBasePin*> m_PinCache;  // pins returned so far, not referenced
  std::atomic<LONG> m_cRef{1};
};

// Walks the types of a pin, which it keeps alive. After a change of the types it answers
// VFW_E_ENUM_OUT_OF_SYNC until it is reset.
class CEnumMediaTypes final : public IEnumMediaTypes {
 public:
  CEnumMediaTypes(CBasePin* pin, const CEnumMediaTypes* original);
  ~CEnumMediaTypes();
  CEnumMediaTypes(const CEnumMediaTypes&) = delete;
  CEnumMediaTypes& operator=(const CEnumMediaTypes&) = delete;

  HRESULT QueryInterface(REFIID riid, void** ppv) override;
  ULONG AddRef() override;
  ULONG Release() override;
  HRESULT Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) override;
  HRESULT Skip(ULONG count) override;
  HRESULT Reset() override;
  HRESULT Clone(IEnumMediaTypes** clone) override;

 private:
  bool out_of_sync() const { return m_pPin->GetMediaTypeVersion() != m_Version; }
  void advance(ULONG count) noexcept;

  int m_Position = 0;
  CBasePin* m_pPin;
  LONG m_Version = 0;
  std::atomic<LONG> m_cRef{1};
};
