#!/usr/bin/env bash
# Sets everything up, builds, makes the demo work area and runs the workbench on it: the window
# when a display is present, otherwise a headless run of sarnoth-cli over the demo.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
bash scripts/build.sh
CLI=build/bin/sarnoth-cli
AREA=${DEMO_AREA:-$PWD/demo_area}
rm -rf "$AREA"
"$CLI" workarea demo "$AREA"
"$CLI" workarea use "$AREA"
if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && [ -z "${CI:-}" ]; then
  exec build/bin/sarnoth
fi
echo
echo "No display: the demo work area through sarnoth-cli."
set -x
"$CLI" workarea info
"$CLI" tables list
"$CLI" tables fields 水系沉积物测量
"$CLI" tables show 水系沉积物测量 --limit 5
"$CLI" sql "Select [地层], Count([Au]) As N, Avg([Au]) As AuMean, StDev([Au]) As AuSd, Max([Cu]) As CuMax From [水系沉积物测量] Where [Au] <> -1E+38 Group By [地层]"
"$CLI" gridding --table 水系沉积物测量 --value Au --method idw --dx 200 --dy 200 --radius 1000 -o Au_idw
"$CLI" gridding --table 水系沉积物测量 --value Cu --method kriging --dx 400 --dy 400 -o Cu_krig
"$CLI" gridding --table 布格重力异常 --value 布格异常 --method mean --dx 250 --dy 250 --radius 1500 -o Bouguer
"$CLI" grid info "$AREA/Grid_dat/Au_idw.grd"
"$CLI" render grid "$AREA/Grid_dat/Au_idw.grd" --mode graded --levels 16 --width 800 --colour-bar -o "$AREA/temp/map/Au_idw.png"
"$CLI" render grid "$AREA/Grid_dat/Bouguer.grd" --mode relief --width 800 --colour-bar -o "$AREA/temp/map/Bouguer.png"
"$CLI" grid2table Au_idw --name 金网格
"$CLI" export table 金网格 "$AREA/temp/Au_idw.csv"
"$CLI" anomaly --table 水系沉积物测量 --fields Au,Ag,Cu,Pb,Zn --method lognormal
"$CLI" classstat --table 水系沉积物测量 --class 地层 --items Au,Cu
"$CLI" fft --mode 220 --grid Bouguer --par1 500 -o "$AREA/Grid_dat/Bouguer_up500.grd"
"$CLI" render grid "$AREA/Grid_dat/Bouguer_up500.grd" --mode graded --levels 16 --width 800 --colour-bar -o "$AREA/temp/map/Bouguer_up500.png"
"$CLI" sounding invert "$AREA/Prof_Dat/demo_sound1.s1i"
"$CLI" dc2d auto "$AREA/Prof_Dat/demo_dc2d.hdo" --terrain "$AREA/Prof_Dat/demo_dc2d.ter"
set +x
echo
echo "Maps: $AREA/temp/map/Au_idw.png, Bouguer.png and Bouguer_up500.png"
echo "Resistivity section: $AREA/Prof_Dat/demo_dc2d_mod.png"
