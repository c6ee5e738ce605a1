#!/bin/sh
# bench/count_products.sh BUILD [OBJDUMP]: how many multiplications of each kernel file are instructions on vectors, and how
# many on single numbers. For processors that only an emulator runs here, which says nothing about time.
set -eu
find "$1/aacdec" -name '*_kernels_*.o' | sort | while read -r object; do
  "${2:-objdump}" -d "$object" | awk -v name="$(basename "$object" .cpp.o)" '
    # Of AArch64: a vector operand is v0.2d and the like.
    $3 ~ /^(smull|smull2|umull|umull2|mul|smlal|smlal2|smlsl|smlsl2|mla|mls)$/ && $4 ~ /^v/ {vector++; next}
    $3 ~ /^(mul|madd|msub|smull|smaddl|smsubl|umull|smulh|umulh)$/ {scalar++; next}
    /[ \t]v?pmul(dq|udq|ld|lw|huw|hw)[ \t]|[ \t]v?pmaddwd[ \t]/ {vector++; next}
    /[ \t]i?mul[lqw]?[ \t]/ {scalar++}
    END {printf "%-24s %6d on vectors %6d on single numbers\n", name, vector, scalar}'
done
