#!/usr/bin/env bash
# Generates the cs2cs reference values of tests/prep/test_proj_conv.cpp (kReference): for each
# projection number, the PROJ definition written out by hand from the projection's meaning (not
# taken from our table), two points, and x, y as PROJ's own cs2cs gives them to 0.1 mm.
# Needs proj-bin (cs2cs); the tests themselves do not.
#
# usage: tests/prep/make_proj_reference.sh > /tmp/ref.inc
set -euo pipefail
KRASS="+a=6378245 +b=6356863.0188"
SPHERE="+R=6370997"
row() {  # number, lon, lat, definition (its ellipsoid last: the geographic side uses it too)
  local n=$1 lon=$2 lat=$3; shift 3
  local ell=${*: -1} out
  [ "$ell" = "$SPHERE" ] || ell="${*: -2:1} ${*: -1}"
  out=$(echo "$lon $lat" | cs2cs -f %.4f +proj=longlat $ell +to "$@" 2>/dev/null | awk '{print $1, $2}')
  set -- $out
  echo "    {$n, $lon, $lat, $1, $2},"
}
pair() {  # number, definition (two points in China)
  local n=$1; shift
  row "$n" 110.0 30.0 "$@"
  row "$n" 95.5 42.25 "$@"
}
pair 1 +proj=tmerc +lat_0=0 +lon_0=111 +k=1 +x_0=500000 +y_0=0 $KRASS
pair 2 +proj=tmerc +lat_0=0 +lon_0=105 +k=1 +x_0=500000 +y_0=0 $KRASS
pair 3 +proj=tmerc +lat_0=0 +lon_0=105 +k=0.9996 +x_0=500000 +y_0=10000000 $KRASS
pair 4 +proj=tmerc +lat_0=20 +lon_0=105 +k=0.9999 +x_0=250000 +y_0=-200000 $KRASS
pair 5 +proj=lcc +lat_1=25 +lat_2=47 +lat_0=0 +lon_0=105 +x_0=500000 +y_0=100000 $KRASS
pair 6 +proj=aea +lat_1=25 +lat_2=47 +lat_0=0 +lon_0=105 +x_0=0 +y_0=0 $KRASS
pair 7 +proj=poly +lat_0=30 +lon_0=105 +x_0=0 +y_0=0 $KRASS
pair 8 +proj=eqdc +lat_1=25 +lat_2=47 +lat_0=0 +lon_0=105 $SPHERE
pair 9 +proj=stere +lat_0=35 +lon_0=105 +k=1 $SPHERE
pair 10 +proj=laea +lat_0=35 +lon_0=105 $SPHERE
pair 11 +proj=aeqd +lat_0=35 +lon_0=105 $SPHERE
pair 12 +proj=gnom +lat_0=35 +lon_0=105 $SPHERE
pair 13 +proj=ortho +lat_0=35 +lon_0=105 $SPHERE
pair 14 +proj=nsper +h=3000000 +lat_0=35 +lon_0=105 $SPHERE
pair 15 +proj=sinu +lon_0=105 $SPHERE
pair 16 +proj=eqc +lat_ts=30 +lon_0=105 $KRASS
pair 17 +proj=mill +lon_0=105 $SPHERE
pair 18 +proj=vandg +lon_0=105 $SPHERE
pair 19 +proj=omerc +lat_0=30 +lat_1=25 +lon_1=100 +lat_2=47 +lon_2=110 +k=1 $KRASS
pair 20 +proj=omerc +lat_0=35 +lonc=105 +alpha=30 +k=0.9996 $KRASS
pair 21 +proj=robin +lon_0=105 $SPHERE
pair 22 +proj=igh $SPHERE
pair 23 +proj=moll +lon_0=105 $SPHERE
pair 24 +proj=imoll $SPHERE
pair 25 +proj=hammer +lon_0=105 $SPHERE
pair 26 +proj=wag4 +lon_0=105 $SPHERE
pair 27 +proj=wag7 +lon_0=105 $SPHERE
pair 28 +proj=oea +m=3.5 +n=1.4 +theta=30 +lat_0=35 +lon_0=105 $SPHERE
row 29 110.0 60.0 +proj=stere +lat_0=90 +lat_ts=70 +lon_0=105 $KRASS
row 29 95.5 75.25 +proj=stere +lat_0=90 +lat_ts=70 +lon_0=105 $KRASS
