// Codes of the events that filters send to the graph (IMediaEventSink::Notify).
#pragma once

#include <windows.h>

inline constexpr LONG EC_COMPLETE = 0x01;    // p1: HRESULT, p2: IBaseFilter*
inline constexpr LONG EC_USERABORT = 0x02;   // no parameters
inline constexpr LONG EC_ERRORABORT = 0x03;  // p1: HRESULT
