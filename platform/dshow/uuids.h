// Identifiers of the media layer: classes and filter categories, media types, sub types, format blocks, time
// formats. Those of the interfaces stand beside the interfaces.
#pragma once

#include <objbase.h>

#include "fourcc.h"

// Classes and categories.
inline constexpr CLSID CLSID_MemoryAllocator = zdr::com::guid("1E651CC0-B199-11D0-8212-00C04FC32C45");
inline constexpr CLSID CLSID_FilterMapper2 = zdr::com::guid("CDA42200-BD88-11D0-BD4E-00A0C911CE86");
inline constexpr CLSID CLSID_FilterMapper = zdr::com::guid("E436EBB2-524F-11CE-9F53-0020AF0BA770");
inline constexpr CLSID CLSID_FilterGraph = zdr::com::guid("E436EBB3-524F-11CE-9F53-0020AF0BA770");
inline constexpr CLSID CLSID_FilterGraphNoThread = zdr::com::guid("E436EBB8-524F-11CE-9F53-0020AF0BA770");
inline constexpr CLSID CLSID_AsyncReader = zdr::com::guid("E436EBB5-524F-11CE-9F53-0020AF0BA770");
inline constexpr CLSID CLSID_SeekingPassThru = zdr::com::guid("060AF76C-68DD-11D0-8FC1-00C04FD9189D");
// The default category of filters, and the category that lists the categories.
inline constexpr CLSID CLSID_LegacyAmFilterCategory = zdr::com::guid("083863F1-70DE-11D0-BD40-00A0C911CE86");
inline constexpr CLSID CLSID_ActiveMovieCategories = zdr::com::guid("DA4E3DA0-D07D-11D0-BD50-00A0C911CE86");

// Major types.
inline constexpr GUID MEDIATYPE_NULL = {};
inline constexpr GUID MEDIATYPE_Video = FOURCCMap(zdr::dshow::fourcc('v', 'i', 'd', 's'));
inline constexpr GUID MEDIATYPE_Audio = FOURCCMap(zdr::dshow::fourcc('a', 'u', 'd', 's'));
inline constexpr GUID MEDIATYPE_Text = FOURCCMap(zdr::dshow::fourcc('t', 'x', 't', 's'));
inline constexpr GUID MEDIATYPE_Midi = FOURCCMap(zdr::dshow::fourcc('m', 'i', 'd', 's'));
inline constexpr GUID MEDIATYPE_Interleaved = FOURCCMap(zdr::dshow::fourcc('i', 'a', 'v', 's'));
inline constexpr GUID MEDIATYPE_File = FOURCCMap(zdr::dshow::fourcc('f', 'i', 'l', 'e'));
// The platform's value has the four characters the other way round.
inline constexpr GUID MEDIATYPE_ScriptCommand = zdr::com::guid("73636D64-0000-0010-8000-00AA00389B71");
inline constexpr GUID MEDIATYPE_Stream = zdr::com::guid("E436EB83-524F-11CE-9F53-0020AF0BA770");
inline constexpr GUID MEDIATYPE_MPEG1SystemStream = zdr::com::guid("E436EB82-524F-11CE-9F53-0020AF0BA770");
inline constexpr GUID MEDIATYPE_Timecode = zdr::com::guid("0482DEE3-7817-11CF-8A03-00AA006ECB65");

// Sub types.
inline constexpr GUID MEDIASUBTYPE_NULL = {};
inline constexpr GUID MEDIASUBTYPE_None = zdr::com::guid("E436EB8E-524F-11CE-9F53-0020AF0BA770");
inline constexpr GUID MEDIASUBTYPE_PCM = FOURCCMap(DWORD{1});
inline constexpr GUID MEDIASUBTYPE_IEEE_FLOAT = FOURCCMap(DWORD{3});
inline constexpr GUID MEDIASUBTYPE_WAVE = zdr::com::guid("E436EB8B-524F-11CE-9F53-0020AF0BA770");
inline constexpr GUID MEDIASUBTYPE_Avi = zdr::com::guid("E436EB88-524F-11CE-9F53-0020AF0BA770");
inline constexpr GUID MEDIASUBTYPE_PCMAudio_Obsolete = zdr::com::guid("E436EB8A-524F-11CE-9F53-0020AF0BA770");
inline constexpr GUID MEDIASUBTYPE_RGB1 = zdr::com::guid("E436EB78-524F-11CE-9F53-0020AF0BA770");
inline constexpr GUID MEDIASUBTYPE_RGB4 = zdr::com::guid("E436EB79-524F-11CE-9F53-0020AF0BA770");
inline constexpr GUID MEDIASUBTYPE_RGB8 = zdr::com::guid("E436EB7A-524F-11CE-9F53-0020AF0BA770");
inline constexpr GUID MEDIASUBTYPE_RGB565 = zdr::com::guid("E436EB7B-524F-11CE-9F53-0020AF0BA770");
inline constexpr GUID MEDIASUBTYPE_RGB555 = zdr::com::guid("E436EB7C-524F-11CE-9F53-0020AF0BA770");
inline constexpr GUID MEDIASUBTYPE_RGB24 = zdr::com::guid("E436EB7D-524F-11CE-9F53-0020AF0BA770");
inline constexpr GUID MEDIASUBTYPE_RGB32 = zdr::com::guid("E436EB7E-524F-11CE-9F53-0020AF0BA770");
inline constexpr GUID MEDIASUBTYPE_ARGB32 = zdr::com::guid("773C9AC0-3274-11D0-B724-00AA006C1A01");
inline constexpr GUID MEDIASUBTYPE_YUY2 = FOURCCMap(zdr::dshow::fourcc('Y', 'U', 'Y', '2'));
inline constexpr GUID MEDIASUBTYPE_UYVY = FOURCCMap(zdr::dshow::fourcc('U', 'Y', 'V', 'Y'));
inline constexpr GUID MEDIASUBTYPE_YV12 = FOURCCMap(zdr::dshow::fourcc('Y', 'V', '1', '2'));
inline constexpr GUID MEDIASUBTYPE_NV12 = FOURCCMap(zdr::dshow::fourcc('N', 'V', '1', '2'));

// Format blocks. FORMAT_None is not GUID_NULL: it says "no block", where GUID_NULL leaves the question open.
inline constexpr GUID FORMAT_None = zdr::com::guid("0F6417D6-C318-11D0-A43F-00A0C9223196");
inline constexpr GUID FORMAT_VideoInfo = zdr::com::guid("05589F80-C356-11CE-BF01-00AA0055595A");
inline constexpr GUID FORMAT_VideoInfo2 = zdr::com::guid("F72A76A0-EB0A-11D0-ACE4-0000C0CC16BA");
inline constexpr GUID FORMAT_WaveFormatEx = zdr::com::guid("05589F81-C356-11CE-BF01-00AA0055595A");
inline constexpr GUID FORMAT_MPEGVideo = zdr::com::guid("05589F82-C356-11CE-BF01-00AA0055595A");
inline constexpr GUID FORMAT_MPEGStreams = zdr::com::guid("05589F83-C356-11CE-BF01-00AA0055595A");
inline constexpr GUID FORMAT_DvInfo = zdr::com::guid("05589F84-C356-11CE-BF01-00AA0055595A");

// Units of positions in IMediaSeeking.
inline constexpr GUID TIME_FORMAT_NONE = {};
inline constexpr GUID TIME_FORMAT_FRAME = zdr::com::guid("7B785570-8C82-11CF-BC0C-00AA00AC74F6");
inline constexpr GUID TIME_FORMAT_BYTE = zdr::com::guid("7B785571-8C82-11CF-BC0C-00AA00AC74F6");
inline constexpr GUID TIME_FORMAT_SAMPLE = zdr::com::guid("7B785572-8C82-11CF-BC0C-00AA00AC74F6");
inline constexpr GUID TIME_FORMAT_FIELD = zdr::com::guid("7B785573-8C82-11CF-BC0C-00AA00AC74F6");
inline constexpr GUID TIME_FORMAT_MEDIA_TIME = zdr::com::guid("7B785574-8C82-11CF-BC0C-00AA00AC74F6");
