#!/usr/bin/env bash
# The plug-in's dynamic symbols are exactly what hosts and outside callers look up. Arguments: the plug-in, the nm that
# reads it.
set -euo pipefail

expected="KineDec::KineDec()
KineDec::decode(unsigned short const*, unsigned short const*, unsigned char const*, unsigned long, unsigned short*, int, int, int)
KineDec::decode(unsigned short const*, unsigned short const*, unsigned char const*, unsigned short*, int, int, int)
KineDec::decode2(unsigned short const*, unsigned short const*, unsigned char const*, unsigned long, unsigned short*, int, int, int)
KineDec::decode2(unsigned short const*, unsigned short const*, unsigned char const*, unsigned short*, int, int, int)
lin2log(_kine_curve_param const*, float)
log2lin(_kine_curve_param const*, float)
sarFormats
table
xCheckVersionAndFile
xMediaFile
xValidateFile"
found=$("$2" -D --defined-only "$1" | cut -d' ' -f3- | c++filt | sort -u)
diff <(echo "$expected") <(echo "$found") || { echo "exported symbols differ (left: expected)"; exit 1; }

# Host functions come from whatever library of that name is loaded, as plain symbols.
imported=$("$2" -D --undefined-only "$1")
for name in PVAlloc PVFree pvOSCreateFile pvOSReadFile pvOSSeek ErrFmtOut qmxInfoDelete; do
    grep -qw "$name" <<<"$imported" || { echo "$name is not imported"; exit 1; }
done
