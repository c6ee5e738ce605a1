// Interfaces of the filter graph, as filters and hosts meet it.
#pragma once

#include "filter_interfaces.h"

struct IEnumFilters : IUnknown {
  virtual HRESULT Next(ULONG cFilters, IBaseFilter** ppFilter, ULONG* pcFetched) = 0;
  virtual HRESULT Skip(ULONG cFilters) = 0;
  virtual HRESULT Reset() = 0;
  virtual HRESULT Clone(IEnumFilters** ppEnum) = 0;
};

// Receives events of filters from any thread; they are queued, never delivered on the calling thread.
struct IMediaEventSink : IUnknown {
  virtual HRESULT Notify(LONG EventCode, LONG_PTR EventParam1, LONG_PTR EventParam2) = 0;
};

struct IFilterGraph : IUnknown {
  // Joins the filter and holds a reference on it. VFW_S_DUPLICATE_NAME: added under a changed name.
  virtual HRESULT AddFilter(IBaseFilter* pFilter, LPCWSTR pName) = 0;
  // Disconnects the filter, lets it leave and releases it.
  virtual HRESULT RemoveFilter(IBaseFilter* pFilter) = 0;
  virtual HRESULT EnumFilters(IEnumFilters** ppEnum) = 0;
  virtual HRESULT FindFilterByName(LPCWSTR pName, IBaseFilter** ppFilter) = 0;
  // VFW_E_NOT_IN_GRAPH, VFW_E_CIRCULAR_GRAPH, or what IPin::Connect gave.
  virtual HRESULT ConnectDirect(IPin* ppinOut, IPin* ppinIn, const AM_MEDIA_TYPE* pmt) = 0;
  virtual HRESULT Reconnect(IPin* ppin) = 0;
  virtual HRESULT Disconnect(IPin* ppin) = 0;
  virtual HRESULT SetDefaultSyncSource() = 0;
};

struct IGraphBuilder : IFilterGraph {
  virtual HRESULT Connect(IPin* ppinOut, IPin* ppinIn) = 0;
  virtual HRESULT Render(IPin* ppinOut) = 0;
  virtual HRESULT RenderFile(LPCWSTR lpcwstrFile, LPCWSTR lpcwstrPlayList) = 0;
  virtual HRESULT AddSourceFilter(LPCWSTR lpcwstrFileName, LPCWSTR lpcwstrFilterName,
                                  IBaseFilter** ppFilter) = 0;
  virtual HRESULT SetLogFile(DWORD_PTR hFile) = 0;
  virtual HRESULT Abort() = 0;
  virtual HRESULT ShouldOperationContinue() = 0;
};

struct IBindCtx;

struct IFilterGraph2 : IGraphBuilder {
  virtual HRESULT AddSourceFilterForMoniker(IMoniker* pMoniker, IBindCtx* pCtx, LPCWSTR lpcwstrFilterName,
                                            IBaseFilter** ppFilter) = 0;
  virtual HRESULT ReconnectEx(IPin* ppin, const AM_MEDIA_TYPE* pmt) = 0;
  virtual HRESULT RenderEx(IPin* pPinOut, DWORD dwFlags, DWORD* pvContext) = 0;
};

inline constexpr IID IID_IEnumFilters = zdr::com::guid("56A86893-0AD4-11CE-B03A-0020AF0BA770");
inline constexpr IID IID_IMediaEventSink = zdr::com::guid("56A868A2-0AD4-11CE-B03A-0020AF0BA770");
inline constexpr IID IID_IFilterGraph = zdr::com::guid("56A8689F-0AD4-11CE-B03A-0020AF0BA770");
inline constexpr IID IID_IGraphBuilder = zdr::com::guid("56A868A9-0AD4-11CE-B03A-0020AF0BA770");
inline constexpr IID IID_IFilterGraph2 = zdr::com::guid("36B73882-C2C8-11CF-8B46-00805F6CEF60");
// Known by name only: nothing here implements or calls them.
inline constexpr IID IID_IMediaControl = zdr::com::guid("56A868B1-0AD4-11CE-B03A-0020AF0BA770");
inline constexpr IID IID_IMediaEvent = zdr::com::guid("56A868B6-0AD4-11CE-B03A-0020AF0BA770");
inline constexpr IID IID_IMediaEventEx = zdr::com::guid("56A868C0-0AD4-11CE-B03A-0020AF0BA770");
