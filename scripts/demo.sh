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
