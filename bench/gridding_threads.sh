#!/usr/bin/env bash
# Gridding on both cores against one: 1,000,000 random points from the work area's table store
# onto 1001 x 1001 nodes (spacing 1, radius 2.5 cells), mean and inverse distance, each run with
# --threads 1 and with the default (one thread per core). Best of three whole runs of
# sarnoth-cli (reading the table included), and the two grid files compared byte for byte: the
# bands of the parallel run must give the one-thread grid exactly.
#
#   bench/gridding_threads.sh        (builds build-bench, Release)
#
# Installs the sqlite3 shell (to load the points) with apt-get when it is missing. Work files go
# to $BENCH_DIR (default /tmp/sarnoth_bench, shared with gridding_peers.sh).
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$PWD
DIR=${BENCH_DIR:-/tmp/sarnoth_bench}
N=${BENCH_POINTS:-1000000}
. bench/peers.sh
need_tool sqlite3 sqlite3
install_needed
CLI=$(release_cli)
mkdir -p "$DIR"
cd "$DIR"
gridding_points "$N" "$CLI"
SAR=("$CLI" gridding --workarea wa --table pts --x x --y y --value v --extent 0,1000,0,1000
     --dx 1 --radius 2.5 --yes)
echo "$N points onto 1001 x 1001, radius 2.5 cells ($(nproc) cores, load $(cut -d' ' -f1 /proc/loadavg))"
printf "%-12s %12s %12s %9s %10s\n" method "1 thread" "all cores" speed-up identical
for m in mean idw; do
  t1=$(BEST_PLACES=3 best_wall "${SAR[@]}" --method "$m" --threads 1 -o "t1_$m")
  tn=$(BEST_PLACES=3 best_wall "${SAR[@]}" --method "$m" -o "tn_$m")
  if cmp -s "wa/Grid_dat/t1_$m.grd" "wa/Grid_dat/tn_$m.grd"; then same=yes; else same=NO; fi
  goal=$( [ "$(echo "$tn < 0.35" | bc -l)" = 1 ] && echo "under 0.35 s" || echo "OVER 0.35 s")
  printf "%-12s %10s s %10s s %8.2fx %10s   %s\n" "$m" "$t1" "$tn" "$(echo "$t1 / $tn" | bc -l)" \
    "$same" "$goal"
done
