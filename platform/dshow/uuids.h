// Identifiers of the media layer: classes and filter categories, media types, subtypes, format blocks, time
// formats. Identifiers of interfaces are defined with the interfaces.
#pragma once

#include <objbase.h>

#include "fourcc.h"

// Classes, and the default category of filters.
inline constexpr CLSID CLSID_MemoryAllocator = zdr::com::guid("1E651CC0-B199-11D0-8212-00C04FC32C45");
inline constexpr CLSID CLSID_FilterMapper2 = zdr::com::guid("CDA42200-BD88-11D0-BD4E-00A0C911CE86");
inline constexpr CLSID CLSID_FilterMapper = zdr::com::guid("E436EBB2-524F-11CE-9F53-0020AF0BA770");
inline constexpr CLSID CLSID_LegacyAmFilterCategory = zdr::com::guid("083863F1-70DE-11D0-BD40-00A0C911CE86");

// Major types.
inline constexpr GUID MEDIATYPE_NULL = {};
inline constexpr GUID MEDIATYPE_Video = zdr::dshow::fourcc_guid(zdr::dshow::fourcc('v', 'i', 'd', 's'));
inline constexpr GUID MEDIATYPE_Audio = zdr::dshow::fourcc_guid(zdr::dshow::fourcc('a', 'u', 'd', 's'));
inline constexpr GUID MEDIATYPE_Stream = zdr::com::guid("E436EB83-524F-11CE-9F53-0020AF0BA770");

// Subtypes.
inline constexpr GUID MEDIASUBTYPE_NULL = {};
inline constexpr GUID MEDIASUBTYPE_PCM = zdr::dshow::fourcc_guid(1);

// Format blocks. FORMAT_None: the type has no block; GUID_NULL leaves it unspecified.
inline constexpr GUID FORMAT_None = zdr::com::guid("0F6417D6-C318-11D0-A43F-00A0C9223196");
inline constexpr GUID FORMAT_VideoInfo = zdr::com::guid("05589F80-C356-11CE-BF01-00AA0055595A");
inline constexpr GUID FORMAT_WaveFormatEx = zdr::com::guid("05589F81-C356-11CE-BF01-00AA0055595A");

// Units of positions in IMediaSeeking.
inline constexpr GUID TIME_FORMAT_NONE = {};
inline constexpr GUID TIME_FORMAT_FRAME = zdr::com::guid("7B785570-8C82-11CF-BC0C-00AA00AC74F6");
inline constexpr GUID TIME_FORMAT_BYTE = zdr::com::guid("7B785571-8C82-11CF-BC0C-00AA00AC74F6");
inline constexpr GUID TIME_FORMAT_SAMPLE = zdr::com::guid("7B785572-8C82-11CF-BC0C-00AA00AC74F6");
inline constexpr GUID TIME_FORMAT_FIELD = zdr::com::guid("7B785573-8C82-11CF-BC0C-00AA00AC74F6");
inline constexpr GUID TIME_FORMAT_MEDIA_TIME = zdr::com::guid("7B785574-8C82-11CF-BC0C-00AA00AC74F6");
