#!/usr/bin/env bash
# Times binary grid -> Surfer DSAA by sarnoth-cli against gdal_translate -of GSAG on the same
# 4001 x 4001 grid, side by side, and prints the ratio. Also times sarnoth-cli's binary read and
# write (grid convert binary -> binary). Installs gdal-bin when it is missing.
#
# usage: bench/grid_surfer_vs_gdal.sh [path/to/sarnoth-cli]
set -euo pipefail
cd "$(dirname "$0")/.."
CLI=${1:-build/bin/sarnoth-cli}
[ -x "$CLI" ] || { echo "build sarnoth-cli first (or pass its path)"; exit 1; }
. bench/peers.sh
need_tool gdal_translate gdal-bin
install_needed
N=${N:-4001}
W=$(mktemp -d /tmp/sarnoth-grid-bench.XXXXXX)
trap 'rm -rf "$W"' EXIT

# A smooth field with a few nulls, as an ASCII grid; then the binary grid and a GeoTIFF of it.
awk -v n="$N" 'BEGIN {
  printf "#SRNTHGRIDA#\nC-Data\n431250.5,3712300.25\n0\n%d,%d\n25,25\n-1E+38\n0,0\n", n, n
  for (r = 0; r < n; r++) {
    line = ""
    for (c = 0; c < n; c++) {
      v = (r % 97 == 0 && c % 89 == 0) ? "-1E+38" : sprintf("%.7g", 1000 * sin(r * 0.01) * cos(c * 0.013))
      line = line (c ? "," : "") v
    }
    print line
  }
  print "#ENDDATA#"
}' > "$W/g.txt"
"$CLI" grid convert "$W/g.txt" "$W/g.grd" --to binary 2>/dev/null
"$CLI" grid convert "$W/g.grd" "$W/g.tif" --to gtiff 2>/dev/null

best() {  # best wall time of 3 runs, in seconds
  local b=""
  for _ in 1 2 3; do
    local s e
    s=$(date +%s.%N)
    "$@" >/dev/null 2>&1
    e=$(date +%s.%N)
    b=$(echo "$s $e ${b:-1e9}" | awk '{ t = $2 - $1; print (t < $3 ? t : $3) }')
  done
  echo "$b"
}

t_bin=$(best "$CLI" grid convert "$W/g.grd" "$W/copy.grd" --to binary)
t_ours=$(best "$CLI" grid convert "$W/g.grd" "$W/ours.grd" --to surfer)
t_gdal=$(best gdal_translate -q -of GSAG "$W/g.tif" "$W/gdal.grd")
echo "grid ${N} x ${N}"
echo "sarnoth-cli binary read + write:      ${t_bin} s"
echo "sarnoth-cli binary -> Surfer DSAA:    ${t_ours} s"
echo "gdal_translate GeoTIFF -> GSAG:       ${t_gdal} s"
awk -v a="$t_gdal" -v b="$t_ours" 'BEGIN { printf "ratio gdal / sarnoth: %.2f\n", a / b }'
