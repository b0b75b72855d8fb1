#!/usr/bin/env bash
# Grid images side by side with gdaldem: a 4001 x 4001 grid rendered 4000 pixels wide as a graded
# image (sarnoth-cli render --mode graded) against gdaldem color-relief, and as shaded relief
# against gdaldem hillshade. The same grid goes to both, as a work area grid and as a GeoTIFF.
#
#   bench/render_vs_gdaldem.sh [BUILD_DIR]      (default build; sarnoth-cli in BUILD_DIR/bin)
#
# Best of three runs each, wall-clock seconds; the ratio is ours over gdaldem's.
set -euo pipefail
BUILD=${1:-build}
CLI=$(realpath "$BUILD/bin/sarnoth-cli")
. "$(dirname "$0")/peers.sh"
need_tool gdaldem gdal-bin
need_tool gdal_translate gdal-bin
need_time
install_needed
WORK=$(mktemp -d /tmp/sarnoth-render-bench.XXXXXX)
trap 'rm -rf "$WORK"' EXIT
cd "$WORK"

N=4001
echo "making a ${N} x ${N} grid ..." >&2
# A field with anomalies of several sizes, a regional trend and a block of nulls.
awk -v n=$N 'BEGIN {
  printf "ncols %d\nnrows %d\nxllcorner 500000\nyllcorner 3200000\ncellsize 25\nNODATA_value -99999\n", n, n;
  for (r = n - 1; r >= 0; r--) {
    line = "";
    for (c = 0; c < n; c++) {
      if (c < 300 && r > 3700) { v = -99999 }
      else {
        x = c / n; y = r / n;
        v = 80 * exp(-((x-.3)^2 + (y-.6)^2) / .01) - 50 * exp(-((x-.7)^2 + (y-.35)^2) / .004) \
            + 12 * sin(31 * x) * cos(23 * y) + 40 * x - 15 * y;
      }
      line = line sprintf(c ? " %.3f" : "%.3f", v);
    }
    print line;
  }
}' > field.asc
gdal_translate -q -of GTiff -ot Float32 field.asc field.tif
"$CLI" grid convert field.tif field.grd --to binary 2>/dev/null
rm field.asc

# A 16-level ramp for color-relief, the same blue-to-yellow run as the default ramp.
cat > ramp.txt <<'RAMP'
nv 255 255 255
-60 43 12 102
-40 40 40 140
-20 30 80 160
0 20 120 160
20 30 150 150
40 60 175 125
60 120 195 90
80 190 210 60
100 250 230 90
RAMP

# Best of three runs: "wall cpu peak-MB", cpu being user + system time (the machine is shared,
# so the processor time is the steadier figure), and the largest resident size of the runs.
best() {
  local bw= bc= bm=0
  for _ in 1 2 3; do
    local out w c m
    /usr/bin/time -o times.txt -f "%e %U %S %M" "$@" >/dev/null 2>&1
    out=$(tail -1 times.txt)
    w=$(echo "$out" | awk '{print $1}')
    c=$(echo "$out" | awk '{print $2 + $3}')
    m=$(echo "$out" | awk '{printf "%d", $4 / 1024}')
    if [ -z "$bw" ] || [ "$(echo "$w < $bw" | bc -l)" = 1 ]; then bw=$w; fi
    if [ -z "$bc" ] || [ "$(echo "$c < $bc" | bc -l)" = 1 ]; then bc=$c; fi
    if [ "$m" -gt "$bm" ]; then bm=$m; fi
  done
  echo "$bw $bc $bm"
}

read -r gw gc gm < <(best "$CLI" render grid field.grd --mode graded --levels 16 --width 4000 \
  -o graded.bmp --quiet)
read -r pw pc pm < <(best gdaldem color-relief -q field.tif ramp.txt colour.tif)
read -r rw rc rm < <(best "$CLI" render grid field.grd --mode relief --width 4000 -o relief.bmp \
  --quiet)
read -r hw hc hm < <(best gdaldem hillshade -q -az 315 -alt 45 field.tif shade.tif)

ratio() { echo "$1 / $2" | bc -l; }
echo "load average: $(cut -d' ' -f1-3 /proc/loadavg), $(nproc) cores"
printf "%-24s %14s %14s %14s %18s\n" "4001 x 4001, 4000 px" "sarnoth w/cpu" "gdaldem w/cpu" \
  "ratio w/cpu" "peak MB ours/its"
printf "%-24s %6.2f / %5.2f %6.2f / %5.2f %6.2f / %5.2f %10s / %5s\n" "graded / color-relief" \
  "$gw" "$gc" "$pw" "$pc" "$(ratio "$gw" "$pw")" "$(ratio "$gc" "$pc")" "$gm" "$pm"
printf "%-24s %6.2f / %5.2f %6.2f / %5.2f %6.2f / %5.2f %10s / %5s\n" "relief / hillshade" \
  "$rw" "$rc" "$hw" "$hc" "$(ratio "$rw" "$hw")" "$(ratio "$rc" "$hc")" "$rm" "$hm"
echo "(sarnoth: read the grid, render on two threads, write an 8-bit or 24-bit BMP;"
echo " gdaldem: read the GeoTIFF, one thread, write a GeoTIFF)"
