// The look of a picture: colours for light and dark backgrounds, and hatches, so that no difference is shown
// by colour alone. The colours of the tracks are those of Okabe and Ito, which colour-blind people can tell
// apart. Colours are literal, because not all programs that show SVG know variables of CSS.
#pragma once

namespace zdr::host::plot {

inline constexpr int kTrackStyles = 4;  // f0 to f3, s0 to s3, p0 to p3, which repeat

inline constexpr const char* kStyle = R"(<style>
text{font:12px system-ui,-apple-system,"Segoe UI","DejaVu Sans",sans-serif;fill:#1f2328}
.title{font-size:20px;font-weight:600}.head{font-size:14px;font-weight:600}
.soft{fill:#59636e}.remark{font-size:12px;font-weight:400;fill:#59636e}.mark{font-size:11px;fill:#59636e}.mid{text-anchor:middle}.end{text-anchor:end}
.fault{fill:#b3261e}.bg{fill:#fff}.panel{fill:#f6f8fa}.grid{stroke:#d1d9e0;stroke-width:1;fill:none}
.axis{stroke:#818b98;stroke-width:1}.box{fill:#e3e7ec;stroke:#818b98;stroke-width:1}
.media{fill:#f6f8fa;stroke:#818b98;stroke-width:1}
.h{stroke:#6e7781;stroke-width:1.2}.loose{fill:url(#zdr-loose);stroke:#6e7781;stroke-width:.6}
.bad{fill:#b3261e}.badline{stroke:#b3261e;stroke-width:1.5;stroke-dasharray:2 2}
.seek{stroke:#1f2328;stroke-width:1.5;stroke-dasharray:6 3}.segment{stroke:#1f2328;stroke-width:1.5}
.apart{stroke:#59636e;stroke-width:1;stroke-dasharray:3 3;fill:none}
.f0{fill:#0072b2}.f1{fill:#c14a00}.f2{fill:#007f5c}.f3{fill:#a8508a}
.s0{stroke:#0072b2}.s1{stroke:#c14a00}.s2{stroke:#007f5c}.s3{stroke:#a8508a}
.p0{fill:#0072b2}.p1{fill:url(#zdr-p1)}.p2{fill:url(#zdr-p2)}.p3{fill:url(#zdr-p3)}
.chunk{stroke-width:.8;stroke-linejoin:round}.line{fill:none;stroke-width:1.4}.key{stroke-width:1.2}
.mean{fill:none;stroke-width:1.2}.band{fill-opacity:.4}.pale{fill-opacity:.25}
@media (prefers-color-scheme:dark){
text{fill:#e6edf3}.soft,.remark,.mark{fill:#9da7b1}.fault{fill:#ff8a80}.bg{fill:#0d1117}.panel{fill:#161b22}
.grid{stroke:#30363d}.axis{stroke:#6e7681}.box{fill:#343b44;stroke:#848d97}.media{fill:#161b22;stroke:#848d97}
.h{stroke:#9da7b1}.loose{stroke:#9da7b1}.bad{fill:#ff8a80}.badline{stroke:#ff8a80}
.seek,.segment{stroke:#e6edf3}.apart{stroke:#9da7b1}
.f0{fill:#56b4e9}.f1{fill:#f0964a}.f2{fill:#3ecf9b}.f3{fill:#e48fc8}
.s0{stroke:#56b4e9}.s1{stroke:#f0964a}.s2{stroke:#3ecf9b}.s3{stroke:#e48fc8}.p0{fill:#56b4e9}
}
</style>
<defs>
<pattern id="zdr-loose" width="6" height="6" patternUnits="userSpaceOnUse"><path d="M-1 1L1 -1M0 6L6 0M5 7L7 5" class="h"/></pattern>
<pattern id="zdr-p1" width="4" height="4" patternUnits="userSpaceOnUse"><rect width="4" height="4" class="f1 pale"/><path d="M0 0L4 4M-1 3L1 5M3 -1L5 1" class="s1" stroke-width="1.2"/></pattern>
<pattern id="zdr-p2" width="4" height="4" patternUnits="userSpaceOnUse"><rect width="4" height="4" class="f2 pale"/><path d="M2 0V4" class="s2" stroke-width="1.6"/></pattern>
<pattern id="zdr-p3" width="4" height="4" patternUnits="userSpaceOnUse"><rect width="4" height="4" class="f3 pale"/><circle cx="2" cy="2" r="1.3" class="f3"/></pattern>
</defs>
)";

}  // namespace zdr::host::plot
