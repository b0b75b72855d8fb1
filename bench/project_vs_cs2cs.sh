#!/usr/bin/env bash
# Times coordinate conversion of 1,000,000 points, geographic (CGCS2000 / GRS 1980) to
# Gauss-Krüger 3° zone 39 with the zone number in front of x and back, by sarnoth-cli against
# PROJ's own cs2cs on the same points as text, side by side, and prints the ratios.
#   sarnoth-cli project table: the points as a work-area table, new fields written back;
#   sarnoth-cli project file:  the points as a binary scatter file;
#   cs2cs:                     the points as text lines, one run each way.
# Each timing is the best of 3; every table run starts from a fresh copy of the work area, so
# the new fields are made each time. Installs proj-bin when cs2cs is missing.
#
# usage: bench/project_vs_cs2cs.sh [path/to/sarnoth-cli]      (N=200000 for a shorter run)
set -euo pipefail
cd "$(dirname "$0")/.."
CLI=$(realpath "${1:-build/bin/sarnoth-cli}")
[ -x "$CLI" ] || { echo "build sarnoth-cli first (or pass its path)"; exit 1; }
. bench/peers.sh
need_tool cs2cs proj-bin
install_needed
N=${N:-1000000}
W=$(mktemp -d /tmp/sarnoth-project-bench.XXXXXX)
trap 'rm -rf "$W"' EXIT
cd "$W"

awk -v n="$N" 'BEGIN { srand(20261121)
  for (i = 0; i < n; i++) printf "%.8f %.8f\n", 115.6 + 2.8 * rand(), 20 + 30 * rand() }' > ll.txt
(echo "lon,lat"; tr ' ' ',' < ll.txt) > ll.csv
"$CLI" workarea create base >/dev/null
"$CLI" import table ll.csv --name pts --type lon=DOUBLE,lat=DOUBLE --workarea base >/dev/null
"$CLI" scatter export ll.dat --table pts --fields lon,lat --to binary --workarea base >/dev/null

GEO="proj=geo,ellps=10"
GK="proj=gk3,ellps=10,prefix"
FWD_PROJ="+proj=longlat +ellps=GRS80 +to +proj=tmerc +lat_0=0 +lon_0=117 +k=1 +x_0=39500000 +y_0=0 +ellps=GRS80"
BACK_PROJ="+proj=tmerc +lat_0=0 +lon_0=117 +k=1 +x_0=39500000 +y_0=0 +ellps=GRS80 +to +proj=longlat +ellps=GRS80"

best() {  # best wall time of 3 runs of "$@" in seconds; $PREP runs untimed before each
  local b=""
  for _ in 1 2 3; do
    [ -z "${PREP:-}" ] || eval "$PREP"
    local s e
    s=$(date +%s.%N)
    "$@" >/dev/null 2>&1
    e=$(date +%s.%N)
    b=$(echo "$s $e ${b:-1e9}" | awk '{ t = $2 - $1; print (t < $3 ? t : $3) }')
  done
  echo "$b"
}

# The table: forward on a fresh copy; back on a copy that holds the forward fields.
cp -r base fwd
"$CLI" project table pts --x lon --y lat --new-x GX --new-y GY --from "$GEO" --to "$GK" \
  --workarea fwd >/dev/null 2>&1
t_tab_fwd=$(PREP='rm -rf run && cp -r base run' best "$CLI" project table pts --x lon --y lat \
  --new-x GX --new-y GY --from "$GEO" --to "$GK" --workarea run)
t_tab_back=$(PREP='rm -rf run2 && cp -r fwd run2' best "$CLI" project table pts --x GX --y GY \
  --new-x LON2 --new-y LAT2 --from "$GK" --to "$GEO" --workarea run2)

# The binary scatter file.
t_file_fwd=$(best "$CLI" project file ll.dat gk.dat --x lon --y lat --from "$GEO" --to "$GK")
"$CLI" project file ll.dat gk.dat --x lon --y lat --from "$GEO" --to "$GK" >/dev/null 2>&1
t_file_back=$(best "$CLI" project file gk.dat back.dat --x lon --y lat --from "$GK" --to "$GEO")

# cs2cs on the same points as text.
t_cs_fwd=$(best sh -c "cs2cs -f %.4f $FWD_PROJ < ll.txt > xy.txt")
cs2cs -f %.4f $FWD_PROJ < ll.txt > xy.txt
t_cs_back=$(best sh -c "cs2cs -f %.9f $BACK_PROJ < xy.txt > back.txt")

# Agreement: the first point both ways.
echo "first point, cs2cs:       $(head -1 xy.txt | awk '{print $1, $2}')"
echo "first point, sarnoth-cli: $("$CLI" project point $(head -1 ll.txt) --from "$GEO" --to "$GK")"

echo "points: $N (geographic <-> Gauss-Kruger 3-degree zone 39, GRS 1980), $(nproc) cores"
printf "%-42s %9s %9s %9s\n" "" forward back total
row() { awk -v a="$2" -v b="$3" -v l="$1" 'BEGIN { printf "%-42s %8.3fs %8.3fs %8.3fs\n", l, a, b, a + b }'; }
row "sarnoth-cli project table (store)" "$t_tab_fwd" "$t_tab_back"
row "sarnoth-cli project file (binary scatter)" "$t_file_fwd" "$t_file_back"
row "cs2cs (text)" "$t_cs_fwd" "$t_cs_back"
awk -v c="$t_cs_fwd" -v d="$t_cs_back" -v a="$t_tab_fwd" -v b="$t_tab_back" -v e="$t_file_fwd" \
  -v f="$t_file_back" 'BEGIN {
    printf "ratio cs2cs / sarnoth-cli, table: %.2f\n", (c + d) / (a + b)
    printf "ratio cs2cs / sarnoth-cli, file:  %.2f\n", (c + d) / (e + f) }'
