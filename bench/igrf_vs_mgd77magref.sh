#!/usr/bin/env bash
# Times sarnoth-cli igrf --file against GMT's mgd77magref (its IGRF core field, -F.../0), side by
# side, on the same points: 1,000,000 by default, spread over the northern and eastern quarter
# of the globe (the geomagnetic tool takes latitudes 0–90 and minutes 0–60), heights 0–5 km,
# dates 1950–2015 (where the 13th generation the peer carries and our 14th agree):
#
#   sarnoth-cli igrf --file pts.dat -o res.dat --generation 14   (the tool's scatter file of
#                                                                  degrees.minutes in, eleven
#                                                                  columns out)
#   gmt mgd77magref pts.txt -A+y -Fxyzhtdi/0                     (text in, seven columns out)
#
# Each time is the best of three whole runs, reading and writing included. The total field of
# both is compared point by point (ours is written to the whole nT, so up to 0.5 nT apart).
# Installs gmt, bc and time with apt-get when they are missing. Work files go to $BENCH_DIR
# (default /tmp/sarnoth_bench_igrf).
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$PWD
DIR=${BENCH_DIR:-/tmp/sarnoth_bench_igrf}
N=${BENCH_POINTS:-1000000}

. bench/peers.sh
need_tool gmt gmt
need_tool bc bc
need_time
install_needed
CLI=$(release_cli)

mkdir -p "$DIR"
cd "$DIR"
if [ ! -f pts.txt ] || [ "$(wc -l < pts.txt)" -ne "$N" ]; then
  echo "making $N points"
  # The same points twice: degrees.minutes and metres for the tool, decimal degrees and km for
  # GMT. Dates come in runs of a thousand, as a survey's lines have them.
  awk -v n="$N" 'BEGIN { srand(20261122);
    print "#SRNTHSCATA#\r\nS\r\n" n "\r\n-1E+38\r\n4\r\nlon lat height date\r" > "pts.dat";
    for (i = 0; i < n; i++) {
      lod = int(rand() * 180); lom = int(rand() * 60); lad = int(rand() * 90); lam = int(rand() * 60);
      h = int(rand() * 5000); if (i % 1000 == 0) t = sprintf("%.2f", 1950 + rand() * 65);
      printf "%d.%02d %d.%02d %d %s\r\n", lod, lom, lad, lam, h, t > "pts.dat";
      printf "%.10f %.10f %.3f %s\n", lod + lom / 60, lad + lam / 60, h / 1000, t > "pts.txt"
    }
    print "#ENDDATA#\r" > "pts.dat" }'
fi

SAR=("$CLI" igrf --file pts.dat -o res.dat --generation 14)
GMT=(sh -c "gmt mgd77magref pts.txt -A+y -Fxyzhtdi/0 --FORMAT_FLOAT_OUT=%.3f > gmt.txt")
echo "$N points ($(nproc) cores, load $(cut -d' ' -f1 /proc/loadavg))"
ts=$(best_wall "${SAR[@]}")
tg=$(best_wall "${GMT[@]}")
printf "%-40s %7s s\n" "sarnoth-cli igrf --file (IGRF 14th)" "$ts"
printf "%-40s %7s s\n" "gmt mgd77magref -Fxyzhtdi/0 (IGRF 13th)" "$tg"
printf "ratio (gmt / sarnoth)                    %7.1fx\n" "$(echo "$tg / $ts" | bc -l)"
# The total field, point by point: ours is column 7 of the data lines, GMT's column 5.
tr -d '\r' < res.dat | awk 'NR > 6 && $1 != "#ENDDATA#" { print $7 }' > f_sarnoth.txt
awk '{ print $5 }' gmt.txt > f_gmt.txt
paste f_sarnoth.txt f_gmt.txt | awk '{ d = $1 - $2; if (d < 0) d = -d; if (d > m) m = d; n++ }
  END { printf "total field: %d points, largest difference %.3f nT\n", n, m }'
# CPU seconds of one run each: on a shared machine the wall times above carry its load.
cpu() { /usr/bin/time -f "%U %S" "$@" 2>&1 >/dev/null | tail -1 | awk '{ printf "%.2f", $1 + $2 }'; }
cs=$(cpu "${SAR[@]}")
cg=$(cpu "${GMT[@]}")
printf "cpu: sarnoth %s s, gmt %s s, ratio %.1fx\n" "$cs" "$cg" "$(echo "$cg / $cs" | bc -l)"
