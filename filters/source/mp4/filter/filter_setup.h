// What the registry records of the filter.
#pragma once

#include <streams.h>

namespace zdr::mp4source {

inline constexpr WCHAR kFilterName[] = u"Zandor AMR/QCP/3GPP/MP4/3G2 Source Filter";

extern const AMOVIESETUP_FILTER kFilterSetup;

}  // namespace zdr::mp4source
