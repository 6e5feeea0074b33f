#!/bin/sh
# Test lines (tests/) against product lines (src/ without the generated
# src/onvif, plus tools/); the house rule is at most a third.
cd "$(dirname "$0")/.." && git ls-files -co --exclude-standard src tools tests | awk '
  /^src\/onvif\// { next }
  /^tests\// { tests[++t] = $0; next }
  { product[++p] = $0 }
  END {
    for (i = 1; i <= t; i++) while ((getline line < tests[i]) > 0) nt++
    for (i = 1; i <= p; i++) while ((getline line < product[i]) > 0) np++
    printf "test lines %d / product lines %d = %.3f (at most 0.333)\n", nt, np, nt / np
  }'
