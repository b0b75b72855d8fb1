#!/usr/bin/env bash
# Times sarnoth-cli clip table against GMT's gmtselect -F, side by side, on the same 1,000,000
# random points in a 1000 x 1000 area and the same 100 polygons of 200 vertices each (ten by ten
# lobed outlines, like digitised boundaries, on a 100-unit net), keeping the points inside:
#
#   sarnoth-cli clip table --table pts --gph polys.gph    (store table in, registered table out)
#   gmt gmtselect pts.xyz -Fpolys.gmt                     (text in, text out)
#
# Each time is the best of three whole runs, reading and writing included; the kept counts of
# both are printed so that the answers can be compared. Installs gmt, sqlite3 and time with apt-get when
# they are missing. Work files go to $BENCH_DIR (default /tmp/sarnoth_bench_clip).
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$PWD
DIR=${BENCH_DIR:-/tmp/sarnoth_bench_clip}
N=${BENCH_POINTS:-1000000}

. bench/peers.sh
need_tool gmt gmt gmt-gshhg-low
need_tool sqlite3 sqlite3
need_time
install_needed
CLI=$(release_cli)

mkdir -p "$DIR"
cd "$DIR"
if [ ! -f pts.csv ] || [ "$(wc -l < pts.csv)" -ne $((N + 1)) ]; then
  echo "making $N points and 100 polygons"
  awk -v n="$N" 'BEGIN { srand(20240611); print "x,y,v";
    for (i = 0; i < n; i++) printf "%.3f,%.3f,%.3f\n", rand() * 1000, rand() * 1000, rand() * 100 }' \
    > pts.csv
  tail -n +2 pts.csv | tr ',' '\t' > pts.xyz
  # The same polygons twice: a coordinate file for sarnoth, a closed multi-segment file for GMT.
  awk 'BEGIN { srand(77); pi = 3.14159265358979;
    print "#SRNTHCRDGP#" > "polys.gph";
    for (p = 0; p < 100; p++) {
      cx = 50 + 100 * (p % 10); cy = 50 + 100 * int(p / 10);
      f1 = 6.3 * rand(); f2 = 6.3 * rand();
      print "PR " p " 200" > "polys.gph"; print ">" > "polys.gmt";
      for (k = 0; k < 200; k++) {
        a = 2 * pi * k / 200; r = 35 + 7 * sin(3 * a + f1) + 3 * cos(7 * a + f2) + 0.5 * rand();
        x = sprintf("%.3f", cx + r * cos(a)); y = sprintf("%.3f", cy + r * sin(a));
        if (k == 0) { x0 = x; y0 = y }
        print x " " y > "polys.gph"; print x "\t" y > "polys.gmt"
      }
      print x0 "\t" y0 > "polys.gmt"
    }
    print "#ENDDATA#" > "polys.gph" }'
  # Into the work area as the import tool brings a table in: SINGLE fields, values as singles.
  rm -rf wa
  "$CLI" workarea create wa >/dev/null
  "$CLI" import table pts.csv --workarea wa --name pts --type x=SINGLE,y=SINGLE,v=SINGLE \
    >/dev/null
fi

SAR=("$CLI" clip table --workarea wa --table pts --x x --y y --vars v --gph polys.gph --name cut
     --yes)
echo "$N points, 100 polygons x 200 vertices ($(nproc) cores, load $(cut -d' ' -f1 /proc/loadavg))"
ts=$(best_wall "${SAR[@]}")
tg=$(best_wall sh -c "gmt gmtselect pts.xyz -Fpolys.gmt > gmt_inside.xyz")
kept=$("${SAR[@]}" 2>/dev/null | awk '/^kept:/ { print $2 }')
printf "%-34s %7s s   kept %s\n" "sarnoth-cli clip table" "$ts" "$kept"
printf "%-34s %7s s   kept %s\n" "gmt gmtselect -F" "$tg" "$(wc -l < gmt_inside.xyz)"
printf "ratio (gmt / sarnoth)              %7.1fx\n" "$(echo "$tg / $ts" | bc -l)"
# CPU seconds of one run each: on a shared machine the wall times above carry its load.
cpu() { /usr/bin/time -f "%U %S" "$@" 2>&1 >/dev/null | tail -1 | awk '{ printf "%.2f", $1 + $2 }'; }
cs=$(cpu "${SAR[@]}")
cg=$(cpu sh -c "gmt gmtselect pts.xyz -Fpolys.gmt > gmt_inside.xyz")
printf "cpu: sarnoth %s s, gmt %s s, ratio %.1fx\n" "$cs" "$cg" "$(echo "$cg / $cs" | bc -l)"
