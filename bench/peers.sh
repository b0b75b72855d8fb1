# What the side-by-side scripts share; sourced, not run.
#
#   need_tool COMMAND PACKAGE...   note PACKAGE... for installing when COMMAND is missing
#   need_time                      GNU time (/usr/bin/time) for the peak-memory figures
#   install_needed                 installs what was noted, with apt-get (sudo when not root)
#   release_cli                    builds sarnoth-cli in build-bench (Release, no GUI or tests)
#                                  and prints its path
#   best_wall COMMAND...           the best wall time of three runs, in seconds with
#                                  $BEST_PLACES decimals (2)
#   gridding_points N CLI          in the current folder: pts.csv, N random points over
#                                  [0, 1000]², and the work area wa holding them as the SINGLE
#                                  table pts (made again only when N changes)
#
# The peer tools are only for comparison: they are installed here, never by the set-up script.

BENCH_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
BENCH_NEEDED=()

need_tool() {
  local command=$1
  shift
  command -v "$command" >/dev/null 2>&1 || BENCH_NEEDED+=("$@")
}

need_time() {
  [ -x /usr/bin/time ] || BENCH_NEEDED+=(time)
}

install_needed() {
  [ ${#BENCH_NEEDED[@]} -gt 0 ] || return 0
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo=sudo
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends \
    "${BENCH_NEEDED[@]}"
  BENCH_NEEDED=()
}

release_cli() {
  cmake -S "$BENCH_ROOT" -B "$BENCH_ROOT/build-bench" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DSARNOTH_BUILD_GUI=OFF -DSARNOTH_BUILD_TESTS=OFF >/dev/null
  cmake --build "$BENCH_ROOT/build-bench" --target sarnoth-cli >/dev/null
  echo "$BENCH_ROOT/build-bench/bin/sarnoth-cli"
}

best_wall() {
  local best=""
  for _ in 1 2 3; do
    local start end t
    start=$(date +%s.%N)
    "$@" >/dev/null 2>&1
    end=$(date +%s.%N)
    t=$(echo "$end - $start" | bc -l)
    if [ -z "$best" ] || [ "$(echo "$t < $best" | bc -l)" -eq 1 ]; then best=$t; fi
  done
  printf "%.${BEST_PLACES:-2}f" "$best"
}

gridding_points() {
  local n=$1 cli=$2
  if [ -f pts.csv ] && [ "$(wc -l < pts.csv)" -eq $((n + 1)) ] && [ -d wa ]; then return 0; fi
  echo "making $n points"
  awk -v n="$n" 'BEGIN { srand(20240601); print "x,y,v";
    for (i = 0; i < n; i++) { x = rand() * 1000; y = rand() * 1000;
      v = 100 + 50 * sin(x / 97) * cos(y / 131) + 10 * rand();
      printf "%.4f,%.4f,%.4f\n", x, y, v } }' > pts.csv
  rm -rf wa
  "$cli" workarea create wa >/dev/null
  sqlite3 wa/Qury_Dat/QueryDB.sqlite "CREATE TABLE [pts] ([x] SINGLE, [y] SINGLE, [v] SINGLE);" \
    ".import --csv --skip 1 pts.csv pts"
}
