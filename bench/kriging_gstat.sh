#!/usr/bin/env bash
# Kriging against R's gstat, node by node and in time.
#
# 20,000 points are simulated with gstat (unconditional sequential Gaussian simulation, mean 100,
# spherical variogram nugget 5, partial sill 25, range 150) over [0, 1000]², stored as singles in
# a work area, and kriged by sarnoth-cli onto 201 x 201 nodes (spacing 5) with 16 neighbours:
# ordinary kriging and universal kriging with a linear drift in x and y. gstat's krige is then run
# with the variogram sarnoth fitted (it prints nugget, sill and range) and the same nmax, and the
# two grids are compared node by node (relative difference). Times are whole runs: sarnoth-cli
# reading its table, gstat's Rscript with R's start and the reading of its text file.
# Installs r-cran-gstat and sqlite3 with apt-get when they are missing. Work files go to
# $BENCH_DIR (default /tmp/sarnoth_bench_krig).
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$PWD
DIR=${BENCH_DIR:-/tmp/sarnoth_bench_krig}

. bench/peers.sh
Rscript -e 'library(gstat)' >/dev/null 2>&1 || BENCH_NEEDED+=(r-cran-gstat)
need_tool sqlite3 sqlite3
install_needed
CLI=$(release_cli)

mkdir -p "$DIR"
cd "$DIR"
if [ ! -f pts.txt ]; then
  echo "simulating 20000 points with gstat"
  Rscript -e '
    suppressMessages(library(gstat)); set.seed(20240601); n <- 20000
    d <- data.frame(x = runif(n, 0, 1000), y = runif(n, 0, 1000))
    g <- gstat(formula = z ~ 1, locations = ~x + y, dummy = TRUE, beta = 100,
               model = vgm(25, "Sph", 150, 5), nmax = 20)
    s <- predict(g, newdata = d, nsim = 1, debug.level = 0)
    write.csv(data.frame(x = d$x, y = d$y, v = s$sim1), "sim.csv", row.names = FALSE)'
  rm -rf wa
  "$CLI" workarea create wa >/dev/null
  sqlite3 wa/Qury_Dat/QueryDB.sqlite "CREATE TABLE [k] ([x] SINGLE, [y] SINGLE, [v] SINGLE);" \
    ".import --csv --skip 1 sim.csv k"
  # Round to singles as the store keeps them, and hand gstat exactly those numbers.
  "$CLI" sql --workarea wa "Update [k] Set [x] = [x], [y] = [y], [v] = [v]" >/dev/null
  "$CLI" tables show k --workarea wa --limit -1 2>/dev/null > pts.txt
fi

now() { date +%s.%N; }

run() {  # label, sarnoth kriging options, gstat formula
  local label=$1 opts=$2 form=$3 s ts tg
  s=$(now)
  # shellcheck disable=SC2086
  "$CLI" gridding --workarea wa --table k --x x --y y --value v --method kriging $opts --par 16 \
    --extent 0,1000,0,1000 --dx 5 -o "k_$label" --yes > "k_$label.txt" 2>/dev/null
  ts=$(echo "$(now) - $s" | bc -l)
  read -r nug sill range < <(sed -n 's/.*nugget=\([^ ]*\) sill=\([^ ]*\) range=\([^ ]*\).*/\1 \2 \3/p' \
                             "k_$label.txt")
  cat > "gstat_$label.R" <<R
suppressMessages(library(gstat))
d <- read.delim("pts.txt")
g <- expand.grid(x = seq(0, 1000, 5), y = seq(0, 1000, 5))
k <- krige($form, ~x + y, d, g, model = vgm($sill, "Sph", $range, $nug), nmax = 16,
           debug.level = 0)
writeBin(as.numeric(k\$var1.pred), "gstat_$label.bin", size = 8)
R
  s=$(now)
  Rscript "gstat_$label.R"
  tg=$(echo "$(now) - $s" | bc -l)
  Rscript -e "
    con <- file('wa/Grid_dat/k_$label.grd', 'rb'); invisible(readBin(con, 'raw', 100))
    ours <- readBin(con, 'numeric', size = 4, n = 201 * 201); close(con)
    ref <- readBin('gstat_$label.bin', 'numeric', size = 8, n = 201 * 201)
    rel <- abs(ours - ref) / pmax(abs(ref), 1e-12)
    cat(sprintf('%-10s variogram nugget %.4g sill %.4g range %.4g\n', '$label', $nug, $sill, $range))
    cat(sprintf('           max rel diff %.2e, 99.9%% %.2e, nodes above 1e-4: %d of %d\n',
                max(rel), quantile(rel, 0.999), sum(rel > 1e-4), length(rel)))"
  printf "           sarnoth %.2f s, gstat %.2f s: %.1fx\n" "$ts" "$tg" "$(echo "$tg / $ts" | bc -l)"
}

echo "20000 points onto 201 x 201, 16 neighbours ($(nproc) cores, load $(cut -d' ' -f1 /proc/loadavg))"
run ordinary "--kriging ordinary" "v ~ 1"
run universal "--kriging universal --drift xy" "v ~ x + y"
