#!/usr/bin/env bash
# The streaming CSV import against the sqlite3 shell, and its memory on a file of half a gigabyte.
#
#   1. 2,000,000 rows of four numbers (about 75 MB): `sarnoth-cli import table` (types guessed,
#      registered, one transaction) beside `sqlite3 .import` into a table of four REAL columns.
#      Best of three whole runs, wall and processor seconds, and the peak memory of each.
#   2. The same rows written over and over to a 500 MB file: the import's peak memory must stay
#      under 64 MB (it reads the file in blocks and never holds it).
#
#   bench/import_numbers.sh [BUILD_DIR]     (default build-bench, configured Release here)
#
# Installs the sqlite3 shell and GNU time with apt-get when they are missing. Work files go to
# $BENCH_DIR (default /tmp/sarnoth_bench_import) and are removed at the end.
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD=${1:-build-bench}
. bench/peers.sh
need_tool sqlite3 sqlite3
need_time
install_needed
[ "$BUILD" = build-bench ] && release_cli >/dev/null
CLI=$(realpath "$BUILD/bin/sarnoth-cli")
DIR=${BENCH_DIR:-/tmp/sarnoth_bench_import}
mkdir -p "$DIR"
trap 'rm -rf "$DIR"' EXIT
cd "$DIR"
ROWS=${ROWS:-2000000}
awk -v n="$ROWS" 'BEGIN { srand(7); print "x,y,z,v";
  for (i = 0; i < n; i++)
    printf "%.3f,%.3f,%.2f,%.4f\n", 500000 + rand() * 20000, 3300000 + rand() * 20000,
           rand() * 1000, rand() * 100 }' > numbers.csv
"$CLI" workarea create wa >/dev/null

# Best of three: "wall cpu peak-KB".
best() {
  local bw= bc= bm=
  for _ in 1 2 3; do
    eval "$PREP"
    /usr/bin/time -o t.txt -f "%e %U %S %M" "$@" >/dev/null 2>&1
    read -r w u s m < <(tail -1 t.txt)
    local c; c=$(echo "$u + $s" | bc -l)
    if [ -z "$bw" ] || [ "$(echo "$w < $bw" | bc -l)" = 1 ]; then bw=$w; fi
    if [ -z "$bc" ] || [ "$(echo "$c < $bc" | bc -l)" = 1 ]; then bc=$c; fi
    if [ -z "$bm" ] || [ "$m" -gt "$bm" ]; then bm=$m; fi
  done
  echo "$bw $bc $bm"
}
PREP='true'
read -r ow oc om < <(best "$CLI" import table numbers.csv --name pts --yes --workarea wa)
PREP='rm -f peer.sqlite'
read -r pw pc pm < <(best sqlite3 peer.sqlite "CREATE TABLE t (x REAL, y REAL, z REAL, v REAL);" \
  ".import --csv --skip 1 numbers.csv t")

# Half a gigabyte: the same rows again and again.
: > big.csv
head -1 numbers.csv > big.csv
while [ "$(stat -c %s big.csv)" -lt 500000000 ]; do tail -n +2 numbers.csv >> big.csv; done
/usr/bin/time -o t.txt -f "%e %M" "$CLI" import table big.csv --name big --yes --workarea wa \
  >/dev/null 2>&1
read -r bw bm < <(tail -1 t.txt)

echo "load average: $(cut -d' ' -f1-3 /proc/loadavg), $(nproc) cores"
printf "%-46s %8s %8s %10s\n" "$ROWS rows x 4 numbers ($(du -h numbers.csv | cut -f1))" wall cpu "peak MB"
printf "%-46s %8.2f %8.2f %10.1f\n" "sarnoth-cli import table (typed, registered)" "$ow" "$oc" \
  "$(echo "$om / 1024" | bc -l)"
printf "%-46s %8.2f %8.2f %10.1f\n" "sqlite3 .import into REAL columns" "$pw" "$pc" \
  "$(echo "$pm / 1024" | bc -l)"
printf "ratio ours / sqlite3: wall %.2f, cpu %.2f\n" "$(echo "$ow / $pw" | bc -l)" \
  "$(echo "$oc / $pc" | bc -l)"
big_mb=$(echo "$bm / 1024" | bc -l)
printf "%s MB file: %.1f s, peak %.1f MB (%s)\n" "$(( $(stat -c %s big.csv) / 1000000 ))" "$bw" \
  "$big_mb" "$( [ "$(echo "$big_mb < 64" | bc -l)" = 1 ] && echo "under 64 MB" || echo "OVER 64 MB")"
