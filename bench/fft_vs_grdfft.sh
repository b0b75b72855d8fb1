#!/usr/bin/env bash
# Frequency-domain processing side by side with GMT's grdfft (FFTW inside): a 4096 x 4096 grid
# continued upward (sarnoth-cli fft --mode 220 against grdfft -C) and differentiated vertically
# (--mode 210 --method 0 against grdfft -D). Both read their own native grid file and write one;
# sarnoth-cli keeps the tool's own radix-2 transform and uses both cores.
#
#   bench/fft_vs_grdfft.sh [BUILD_DIR]      (default build; sarnoth-cli in BUILD_DIR/bin)
#
# Best of three runs each, wall-clock and processor seconds; the ratio is ours over grdfft's.
set -euo pipefail
BUILD=${1:-build}
CLI=$(realpath "$BUILD/bin/sarnoth-cli")
. "$(dirname "$0")/peers.sh"
need_tool gmt gmt
need_tool gdal_translate gdal-bin
need_tool bc bc
need_time
install_needed
WORK=$(mktemp -d /tmp/sarnoth-fft-bench.XXXXXX)
trap 'rm -rf "$WORK"' EXIT
cd "$WORK"

N=4096
echo "making a ${N} x ${N} grid ..." >&2
# Sources of several depths and sizes over a regional trend, unit spacing, no nulls.
awk -v n=$N 'BEGIN {
  printf "ncols %d\nnrows %d\nxllcorner 0\nyllcorner 0\ncellsize 1\nNODATA_value -99999\n", n, n;
  for (r = n - 1; r >= 0; r--) {
    line = "";
    for (c = 0; c < n; c++) {
      x = c / n; y = r / n;
      v = 80 * exp(-((x-.3)^2 + (y-.6)^2) / .002) - 50 * exp(-((x-.7)^2 + (y-.35)^2) / .0005) \
          + 12 * sin(61 * x) * cos(47 * y) + 40 * x - 15 * y;
      line = line sprintf(c ? " %.3f" : "%.3f", v);
    }
    print line;
  }
}' > field.asc
gdal_translate -q -of GTiff -ot Float32 field.asc field.tif
rm field.asc
"$CLI" grid convert field.tif field.grd --to binary 2>/dev/null
gmt grdconvert field.tif=gd field.nc 2>/dev/null
rm field.tif

best() {
  local bw= bc=
  for _ in 1 2 3; do
    local out w c
    /usr/bin/time -o times.txt -f "%e %U %S" "$@" >/dev/null 2>&1 || { echo "failed: $*" >&2; exit 1; }
    out=$(tail -1 times.txt)
    w=$(echo "$out" | awk '{print $1}')
    c=$(echo "$out" | awk '{print $2 + $3}')
    if [ -z "$bw" ] || [ "$(echo "$w < $bw" | bc -l)" = 1 ]; then bw=$w; fi
    if [ -z "$bc" ] || [ "$(echo "$c < $bc" | bc -l)" = 1 ]; then bc=$c; fi
  done
  echo "$bw $bc"
}

read -r uw uc < <(best "$CLI" fft --mode 220 --grid field.grd -o up.grd --par1 -4)
read -r gw gc < <(best gmt grdfft field.nc -C4 -Gup.nc)
read -r dw dc < <(best "$CLI" fft --mode 210 --method 0 --par1 1 --grid field.grd -o dz.grd)
read -r hw hc < <(best gmt grdfft field.nc -D -Gdz.nc)

ratio() { echo "scale=2; $1 / $2" | bc -l; }
echo "load average: $(cut -d' ' -f1-3 /proc/loadavg)"
printf "%-28s %14s %14s %12s\n" "${N} x ${N}" "sarnoth w/cpu" "grdfft w/cpu" "ratio wall"
printf "%-28s %14s %14s %12s\n" "upward continuation" "$uw/$uc" "$gw/$gc" "$(ratio "$uw" "$gw")"
printf "%-28s %14s %14s %12s\n" "vertical derivative" "$dw/$dc" "$hw/$hc" "$(ratio "$dw" "$hw")"
