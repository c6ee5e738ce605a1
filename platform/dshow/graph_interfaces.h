// Interfaces of the filter graph that filters and hosts use.
#pragma once

#include "filter_interfaces.h"

struct IEnumFilters : IUnknown {
  virtual HRESULT Next(ULONG cFilters, IBaseFilter** ppFilter, ULONG* pcFetched) = 0;
  virtual HRESULT Skip(ULONG cFilters) = 0;
  virtual HRESULT Reset() = 0;
  virtual HRESULT Clone(IEnumFilters** ppEnum) = 0;
};

// Receives events of filters from any thread. They are queued, never delivered on the calling thread.
struct IMediaEventSink : IUnknown {
  virtual HRESULT Notify(LONG EventCode, LONG_PTR EventParam1, LONG_PTR EventParam2) = 0;
};

struct IFilterGraph : IUnknown {
  // Joins the filter and holds a reference on it. VFW_S_DUPLICATE_NAME: added under a changed name.
  virtual HRESULT AddFilter(IBaseFilter* pFilter, LPCWSTR pName) = 0;
  // Disconnects the filter, removes it from the graph and releases it.
  virtual HRESULT RemoveFilter(IBaseFilter* pFilter) = 0;
  virtual HRESULT EnumFilters(IEnumFilters** ppEnum) = 0;
  virtual HRESULT FindFilterByName(LPCWSTR pName, IBaseFilter** ppFilter) = 0;
  // VFW_E_NOT_IN_GRAPH, VFW_E_CIRCULAR_GRAPH, or the result of IPin::Connect.
  virtual HRESULT ConnectDirect(IPin* ppinOut, IPin* ppinIn, const AM_MEDIA_TYPE* pmt) = 0;
  virtual HRESULT Reconnect(IPin* ppin) = 0;
  virtual HRESULT Disconnect(IPin* ppin) = 0;
  virtual HRESULT SetDefaultSyncSource() = 0;
};

inline constexpr IID IID_IEnumFilters = zdr::com::guid("56A86893-0AD4-11CE-B03A-0020AF0BA770");
inline constexpr IID IID_IMediaEventSink = zdr::com::guid("56A868A2-0AD4-11CE-B03A-0020AF0BA770");
inline constexpr IID IID_IFilterGraph = zdr::com::guid("56A8689F-0AD4-11CE-B03A-0020AF0BA770");
