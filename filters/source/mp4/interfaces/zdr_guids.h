// Identifiers of the module that a host must know: its class, its private interface and its private media
// types. The public ones (MEDIASUBTYPE_PCM, FORMAT_VideoInfo ...) are the platform's, in <dshow.h>.
#pragma once

#include <dshow.h>

namespace zdr::mp4source {

inline constexpr CLSID kClsidSourceFilter = com::guid("7C0B2D5E-3A94-4E61-9F27-5D8B1A6E40C3");
inline constexpr IID kIidZandorVideoSource = com::guid("904023D8-3EB6-4079-B062-45C68095682E");

// Audio.
inline constexpr GUID kSubtypeAmrNarrowBand = com::guid("A49B9696-751E-4402-A733-3AD46F48A5A0");
inline constexpr GUID kSubtypeAmrWideBand = com::guid("E5E8F6BE-7753-4041-880B-16D31F61397E");
inline constexpr GUID kSubtypeAac = com::guid("D107033F-3A53-4406-AF19-13543470DDB2");  // the one offered
inline constexpr GUID kSubtypeAacAccepted[] = {
    kSubtypeAac,
    com::guid("5B584C94-8FB4-4647-AFE6-879085600DBF"),
    com::guid("5D343B47-FDD0-4802-930B-EADDA0CE37D9"),
    com::guid("0000A106-0000-0010-8000-00AA00389B71"),
};
inline constexpr GUID kSubtypeQcelp = com::guid("8080AF8D-857A-45C4-8296-AB1301ADFA28");
inline constexpr GUID kFormatQcelp = com::guid("A2AC77FD-36C6-4C2A-B238-F89B35DAA570");
inline constexpr GUID kSubtypeEvrc = com::guid("565B8FB4-EE30-4EE3-9B5B-E285678F1F9D");
inline constexpr GUID kFormatEvrc = com::guid("F089A5D3-01B2-4B44-817B-200F94489BBD");
inline constexpr GUID kFormatAudioAccepted =
    com::guid("DFDABA17-D518-42A6-81DE-C90C8EC32BCF");  // never offered
inline constexpr GUID kSubtypeDolbyAc3 =
    com::guid("E06D802C-DB46-11CF-B4D1-00805F6CBBEA");  // AC-3 and E-AC-3

// Video.
inline constexpr GUID kSubtypeMpeg4Visual = com::guid("3253344D-0000-0010-8000-00AA00389B71");  // "M4S2"
inline constexpr GUID kSubtypeH263 = com::guid("92A25D95-3963-45EF-895F-EA42B4DD37AA");
inline constexpr GUID kSubtypeAvc = com::guid("931F33F5-525B-4613-A5A7-D0E28115DD9A");
inline constexpr GUID kSubtypeAnyVideo = com::guid("B006C93F-3057-4F95-8184-9382035E26FB");  // accepted only

}  // namespace zdr::mp4source
