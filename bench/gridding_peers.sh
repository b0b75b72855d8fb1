#!/usr/bin/env bash
# Times sarnoth-cli gridding against gdal_grid and GMT's nearneighbor, side by side, on the same
# 1,000,000 random points gridded onto 1001 x 1001 nodes (spacing 1) with a search radius of
# 2.5 cells and at least 3 points (1 for the nearest point):
#
#   sarnoth mean        vs  gdal_grid -a average:radius1=2.5:radius2=2.5:min_points=3
#   sarnoth idw         vs  gdal_grid -a invdistnn:power=2:radius=2.5:min_points=3
#   sarnoth nearest     vs  gmt nearneighbor -S2.5 -N1
#   sarnoth azimuth 8   vs  gmt nearneighbor -S2.5 -N8+m3
#
# sarnoth reads its points from the work area's table store, the peers from text files; each
# time is the best of three whole runs, reading included. Installs gdal-bin, gmt and sqlite3
# with apt-get when they are missing. Work files go to $BENCH_DIR (default /tmp/sarnoth_bench).
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$PWD
DIR=${BENCH_DIR:-/tmp/sarnoth_bench}
N=${BENCH_POINTS:-1000000}

. bench/peers.sh
need_tool gdal_grid gdal-bin
need_tool gmt gmt gmt-gshhg-low
need_tool sqlite3 sqlite3
install_needed
CLI=$(release_cli)

mkdir -p "$DIR"
cd "$DIR"
gridding_points "$N" "$CLI"
[ -f pts.xyz ] && [ pts.xyz -nt pts.csv ] || tail -n +2 pts.csv | tr ',' '\t' > pts.xyz
cat > pts.vrt <<'VRT'
<OGRVRTDataSource>
  <OGRVRTLayer name="pts">
    <SrcDataSource>pts.csv</SrcDataSource>
    <GeometryType>wkbPoint</GeometryType>
    <GeometryField encoding="PointFromColumns" x="x" y="y" z="v"/>
  </OGRVRTLayer>
</OGRVRTDataSource>
VRT

SAR=("$CLI" gridding --workarea wa --table pts --x x --y y --value v --extent 0,1000,0,1000
     --dx 1 --radius 2.5 --yes)
GD=(gdal_grid -q -ot Float32 -zfield v -l pts -txe -0.5 1000.5 -tye -0.5 1000.5 -outsize 1001 1001)

row() {  # label sarnoth-time peer-label peer-time
  printf "%-22s %7s s   %-46s %7s s   %5.1fx\n" "$1" "$2" "$3" "$4" "$(echo "$4 / $2" | bc -l)"
}

echo "$N points onto 1001 x 1001, radius 2.5 cells ($(nproc) cores, load $(cut -d' ' -f1 /proc/loadavg))"
t1=$(best_wall "${SAR[@]}" --method mean -o b_mean)
p1=$(best_wall "${GD[@]}" -a average:radius1=2.5:radius2=2.5:min_points=3 pts.vrt gdal_avg.tif)
row "sarnoth mean" "$t1" "gdal_grid -a average (min 3)" "$p1"
t2=$(best_wall "${SAR[@]}" --method idw --par 2 -o b_idw)
p2=$(best_wall "${GD[@]}" -a invdistnn:power=2:radius=2.5:max_points=1000:min_points=3 pts.vrt gdal_idw.tif)
row "sarnoth idw" "$t2" "gdal_grid -a invdistnn (power 2, min 3)" "$p2"
t3=$(best_wall "${SAR[@]}" --method nearest -o b_near)
p3=$(best_wall gmt nearneighbor pts.xyz -R0/1000/0/1000 -I1 -S2.5 -N1 -Ggmt_n1.nc)
row "sarnoth nearest" "$t3" "gmt nearneighbor -N1" "$p3"
t4=$(best_wall "${SAR[@]}" --method mean --sectors 8 -o b_az8)
p4=$(best_wall gmt nearneighbor pts.xyz -R0/1000/0/1000 -I1 -S2.5 -N8+m3 -Ggmt_n8.nc)
row "sarnoth azimuth 8" "$t4" "gmt nearneighbor -N8+m3" "$p4"
for m in exp sum median; do
  t=$(best_wall "${SAR[@]}" --method "$m" -o "b_$m")
  printf "%-22s %7s s\n" "sarnoth $m" "$t"
done
