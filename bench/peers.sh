# What the side-by-side scripts share; sourced, not run.
#
#   need_tool COMMAND PACKAGE...   note PACKAGE... for installing when COMMAND is missing
#   need_time                      GNU time (/usr/bin/time) for the peak-memory figures
#   install_needed                 installs what was noted, with apt-get (sudo when not root)
#   release_cli                    builds sarnoth-cli in build-bench (Release, no GUI or tests)
#                                  and prints its path
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
