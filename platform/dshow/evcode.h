// Codes of the events that filters send to the graph (IMediaEventSink::Notify).
#pragma once

#include <windows.h>

inline constexpr LONG EC_SYSTEMBASE = 0x00;
inline constexpr LONG EC_COMPLETE = 0x01;  // p1: HRESULT, p2: IBaseFilter*
inline constexpr LONG EC_USERABORT = 0x02;
inline constexpr LONG EC_ERRORABORT = 0x03;  // p1: HRESULT
inline constexpr LONG EC_TIME = 0x04;
inline constexpr LONG EC_REPAINT = 0x05;
inline constexpr LONG EC_STREAM_ERROR_STOPPED = 0x06;
inline constexpr LONG EC_STREAM_ERROR_STILLPLAYING = 0x07;
inline constexpr LONG EC_ERROR_STILLPLAYING = 0x08;
inline constexpr LONG EC_QUALITY_CHANGE = 0x0B;
inline constexpr LONG EC_SHUTTING_DOWN = 0x0C;
inline constexpr LONG EC_CLOCK_CHANGED = 0x0D;
inline constexpr LONG EC_PAUSED = 0x0E;
inline constexpr LONG EC_STARVATION = 0x17;
inline constexpr LONG EC_END_OF_SEGMENT = 0x1C;
inline constexpr LONG EC_SEGMENT_STARTED = 0x1D;
inline constexpr LONG EC_LENGTH_CHANGED = 0x1E;
inline constexpr LONG EC_STATE_CHANGE = 0x32;
inline constexpr LONG EC_GRAPH_CHANGED = 0x50;
inline constexpr LONG EC_USER = 0x8000;
