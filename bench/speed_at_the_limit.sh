#!/usr/bin/env bash
# Every throughput goal of the workbench, side by side with its peer tool, in one run:
#
#   CSV import, 2,000,000 rows x 4 numbers   vs  sqlite3 .import into REAL columns; peak memory,
#                                                and peak memory on a 500 MB file (< 64 MB)
#   relief rendering of a 4001² grid         vs  gdaldem hillshade (and graded vs color-relief)
#   gridding 1,000,000 points -> 1001²       1 thread against both cores, grids compared
#                                            (goal: mean and idw under 0.35 s on two cores),
#                                            and every method against gdal_grid and GMT
#   kriging 20,000 points -> 201², 16 nbrs   vs  R gstat krige(), node by node (goal: 8x)
#
#   bench/speed_at_the_limit.sh
#
# Each part installs its peer tools (sqlite3, gdal-bin, gmt, r-cran-gstat, GNU time) with apt-get
# when they are missing, and builds the Release command line in build-bench. The machine may be
# shared: every part prints the load average it ran under.
set -euo pipefail
cd "$(dirname "$0")"
. ./peers.sh
release_cli >/dev/null
echo "== CSV import"
./import_numbers.sh
echo
echo "== grid images"
./render_vs_gdaldem.sh ../build-bench
echo
echo "== gridding, one thread against both cores"
./gridding_threads.sh
echo
echo "== gridding against gdal_grid and GMT"
./gridding_peers.sh
echo
echo "== kriging"
./kriging_gstat.sh
