// Interfaces of filters and pins, in the platform's slot order: state control, connection, enumeration,
// seeking, quality, file source, clock. Unless stated otherwise a method returns S_OK on success, E_POINTER
// for a null mandatory out-argument, or E_OUTOFMEMORY. Returned interfaces carry a reference; returned
// strings and media types are task memory that the caller frees.
#pragma once

#include "media_records.h"

struct IPin;
struct IEnumPins;
struct IEnumMediaTypes;

// Time in 100 ns units that never goes backwards.
struct IReferenceClock : IUnknown {
  // S_FALSE when the time has not changed since the previous call.
  virtual HRESULT GetTime(REFERENCE_TIME* pTime) = 0;
  // Sets the event once when base + stream time is reached.
  virtual HRESULT AdviseTime(REFERENCE_TIME baseTime, REFERENCE_TIME streamTime, HEVENT hEvent,
                             DWORD_PTR* pdwAdviseCookie) = 0;
  // Releases the semaphore at startTime and after every period.
  virtual HRESULT AdvisePeriodic(REFERENCE_TIME startTime, REFERENCE_TIME periodTime, HSEMAPHORE hSemaphore,
                                 DWORD_PTR* pdwAdviseCookie) = 0;
  virtual HRESULT Unadvise(DWORD_PTR dwAdviseCookie) = 0;
};

struct IMediaFilter : IPersist {
  // S_FALSE while the transition is not complete.
  virtual HRESULT Stop() = 0;
  virtual HRESULT Pause() = 0;
  // tStart: the reference time of stream time 0.
  virtual HRESULT Run(REFERENCE_TIME tStart) = 0;
  // VFW_S_STATE_INTERMEDIATE when the transition is not complete after the wait, VFW_S_CANT_CUE when the
  // filter is paused but will deliver no data.
  virtual HRESULT GetState(DWORD dwMilliSecsTimeout, FILTER_STATE* State) = 0;
  virtual HRESULT SetSyncSource(IReferenceClock* pClock) = 0;
  virtual HRESULT GetSyncSource(IReferenceClock** pClock) = 0;
};

struct IBaseFilter : IMediaFilter {
  virtual HRESULT EnumPins(IEnumPins** ppEnum) = 0;
  // VFW_E_NOT_FOUND with null in *ppPin.
  virtual HRESULT FindPin(LPCWSTR Id, IPin** ppPin) = 0;
  virtual HRESULT QueryFilterInfo(FILTER_INFO* pInfo) = 0;
  // A null graph removes the filter from its graph. The filter holds no reference on the graph.
  virtual HRESULT JoinFilterGraph(IFilterGraph* pGraph, LPCWSTR pName) = 0;
  virtual HRESULT QueryVendorInfo(LPWSTR* pVendorInfo) = 0;
};

// EndOfStream, NewSegment and IMemInputPin::Receive are streaming calls and are serialised with each other;
// BeginFlush and EndFlush are control calls that arrive while the streaming thread may be inside Receive.
struct IPin : IUnknown {
  // pmt may be null or partial. VFW_E_ALREADY_CONNECTED, VFW_E_NOT_STOPPED, VFW_E_TYPE_NOT_ACCEPTED,
  // VFW_E_NO_ACCEPTABLE_TYPES, VFW_E_NO_TRANSPORT.
  virtual HRESULT Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) = 0;
  virtual HRESULT ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) = 0;
  // Breaks this side only. S_FALSE when not connected.
  virtual HRESULT Disconnect() = 0;
  // VFW_E_NOT_CONNECTED with null in *pPin.
  virtual HRESULT ConnectedTo(IPin** pPin) = 0;
  // The caller frees the block of the record.
  virtual HRESULT ConnectionMediaType(AM_MEDIA_TYPE* pmt) = 0;
  virtual HRESULT QueryPinInfo(PIN_INFO* pInfo) = 0;
  virtual HRESULT QueryDirection(PIN_DIRECTION* pPinDir) = 0;
  virtual HRESULT QueryId(LPWSTR* Id) = 0;
  // S_OK yes, S_FALSE no.
  virtual HRESULT QueryAccept(const AM_MEDIA_TYPE* pmt) = 0;
  virtual HRESULT EnumMediaTypes(IEnumMediaTypes** ppEnum) = 0;
  // S_FALSE when the array is too small; E_NOTIMPL: every input feeds every output.
  virtual HRESULT QueryInternalConnections(IPin** apPin, ULONG* nPin) = 0;
  // Output pins return E_UNEXPECTED from these three.
  virtual HRESULT EndOfStream() = 0;
  virtual HRESULT BeginFlush() = 0;
  virtual HRESULT EndFlush() = 0;
  virtual HRESULT NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) = 0;
};

// Enumerators. Next returns S_OK when it delivered all items requested, S_FALSE for fewer, E_INVALIDARG for
// more than one item without pcFetched, VFW_E_ENUM_OUT_OF_SYNC if the set has changed. Reset synchronises
// again.
struct IEnumPins : IUnknown {
  virtual HRESULT Next(ULONG cPins, IPin** ppPins, ULONG* pcFetched) = 0;
  virtual HRESULT Skip(ULONG cPins) = 0;
  virtual HRESULT Reset() = 0;
  virtual HRESULT Clone(IEnumPins** ppEnum) = 0;
};

struct IEnumMediaTypes : IUnknown {
  // Each record is freed with DeleteMediaType.
  virtual HRESULT Next(ULONG cMediaTypes, AM_MEDIA_TYPE** ppMediaTypes, ULONG* pcFetched) = 0;
  virtual HRESULT Skip(ULONG cMediaTypes) = 0;
  virtual HRESULT Reset() = 0;
  virtual HRESULT Clone(IEnumMediaTypes** ppEnum) = 0;
};

// Positions are in the current time format. Modifier bits are masked off with AM_SEEKING_PositioningBitsMask
// before the kind of positioning is compared.
struct IMediaSeeking : IUnknown {
  virtual HRESULT GetCapabilities(DWORD* pCapabilities) = 0;
  // S_OK when all are present, S_FALSE for some, E_FAIL for none. Clears the bits that are not present.
  virtual HRESULT CheckCapabilities(DWORD* pCapabilities) = 0;
  virtual HRESULT IsFormatSupported(const GUID* pFormat) = 0;
  virtual HRESULT QueryPreferredFormat(GUID* pFormat) = 0;
  virtual HRESULT GetTimeFormat(GUID* pFormat) = 0;
  virtual HRESULT IsUsingTimeFormat(const GUID* pFormat) = 0;
  virtual HRESULT SetTimeFormat(const GUID* pFormat) = 0;
  virtual HRESULT GetDuration(LONGLONG* pDuration) = 0;
  virtual HRESULT GetStopPosition(LONGLONG* pStop) = 0;
  virtual HRESULT GetCurrentPosition(LONGLONG* pCurrent) = 0;
  // A null format is the current one.
  virtual HRESULT ConvertTimeFormat(LONGLONG* pTarget, const GUID* pTargetFormat, LONGLONG Source,
                                    const GUID* pSourceFormat) = 0;
  // S_FALSE when there is nothing to change. AM_SEEKING_ReturnTime returns reference times in the arguments.
  virtual HRESULT SetPositions(LONGLONG* pCurrent, DWORD dwCurrentFlags, LONGLONG* pStop,
                               DWORD dwStopFlags) = 0;
  virtual HRESULT GetPositions(LONGLONG* pCurrent, LONGLONG* pStop) = 0;
  virtual HRESULT GetAvailable(LONGLONG* pEarliest, LONGLONG* pLatest) = 0;
  virtual HRESULT SetRate(double dRate) = 0;
  virtual HRESULT GetRate(double* pdRate) = 0;
  virtual HRESULT GetPreroll(LONGLONG* pllPreroll) = 0;
};

struct IQualityControl : IUnknown {
  virtual HRESULT Notify(IBaseFilter* pSelf, Quality q) = 0;
  // The sink is not referenced.
  virtual HRESULT SetSink(IQualityControl* piqc) = 0;
};

struct IFileSourceFilter : IUnknown {
  // Called once per filter; a second file is refused.
  virtual HRESULT Load(LPCOLESTR pszFileName, const AM_MEDIA_TYPE* pmt) = 0;
  // pmt may be null. Without a file: E_FAIL, or S_OK with a null string.
  virtual HRESULT GetCurFile(LPOLESTR* ppszFileName, AM_MEDIA_TYPE* pmt) = 0;
};

struct IAMFilterMiscFlags : IUnknown {
  virtual ULONG GetMiscFlags() = 0;
};

inline constexpr IID IID_IReferenceClock = zdr::com::guid("56A86897-0AD4-11CE-B03A-0020AF0BA770");
inline constexpr IID IID_IMediaFilter = zdr::com::guid("56A86899-0AD4-11CE-B03A-0020AF0BA770");
inline constexpr IID IID_IBaseFilter = zdr::com::guid("56A86895-0AD4-11CE-B03A-0020AF0BA770");
inline constexpr IID IID_IPin = zdr::com::guid("56A86891-0AD4-11CE-B03A-0020AF0BA770");
inline constexpr IID IID_IEnumPins = zdr::com::guid("56A86892-0AD4-11CE-B03A-0020AF0BA770");
inline constexpr IID IID_IEnumMediaTypes = zdr::com::guid("89C31040-846B-11CE-97D3-00AA0055595A");
inline constexpr IID IID_IMediaSeeking = zdr::com::guid("36B73880-C2C8-11CF-8B46-00805F6CEF60");
inline constexpr IID IID_IQualityControl = zdr::com::guid("56A868A5-0AD4-11CE-B03A-0020AF0BA770");
inline constexpr IID IID_IFileSourceFilter = zdr::com::guid("56A868A6-0AD4-11CE-B03A-0020AF0BA770");
inline constexpr IID IID_IAMFilterMiscFlags = zdr::com::guid("2DD74950-A890-11D1-ABE8-00A0C905F375");
