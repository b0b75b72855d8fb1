#!/usr/bin/env bash
# Q-type cluster analysis against R's hclust, in time and memory.
#
# 5,000 samples of 12 elements (three log-normal element associations, seeded in R) are written
# as CSV, imported into a work area as singles, and clustered by sarnoth-cli (Q type, reciprocal
# Euclidean distance, then correlation). R reads the same CSV, builds the Euclidean distance
# matrix with dist() and clusters it with hclust(method = "centroid"), the standard linkage
# closest to the tool's own; dist and hclust are timed apart inside R (system.time), so R's
# start and reading do not count against it. sarnoth's times are whole runs of the command:
# reading the table, every similarity, the rounds and the report file. Peak memory of the
# sarnoth run comes from /usr/bin/time and is compared with one n × n matrix of doubles. CPU
# times (user + system) are printed beside the wall times, for machines under other load.
# Installs r-base-core with apt-get when Rscript is missing. Work files go to $BENCH_DIR
# (default /tmp/sarnoth_bench_cluster).
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$PWD
DIR=${BENCH_DIR:-/tmp/sarnoth_bench_cluster}
N=${N:-5000}

. bench/peers.sh
need_tool Rscript r-base-core
install_needed
CLI=$(release_cli)

mkdir -p "$DIR"
cd "$DIR"
if [ ! -f "samples_$N.csv" ]; then
  Rscript -e "
    set.seed(20261122); n <- $N; g <- sample(1:3, n, replace = TRUE)
    x <- sapply(1:12, function(k) rlnorm(n, meanlog = ifelse((k - 1) %/% 4 + 1 == g, 3, 1), sdlog = 0.4))
    colnames(x) <- paste0('E', 1:12)
    write.csv(x, 'samples_$N.csv', row.names = FALSE)"
fi
rm -rf wa
"$CLI" workarea create wa >/dev/null
types=$(printf 'E%d=SINGLE,' $(seq 1 12)); types=${types%,}
"$CLI" import table "samples_$N.csv" --name s --type "$types" --workarea wa >/dev/null

fields=$(printf 'E%d,' $(seq 1 12)); fields=${fields%,}
now() { date +%s.%N; }
for measure in 2 1; do
  s=$(now)
  /usr/bin/time -f "%M %U %S" -o "rss_$measure.txt" "$CLI" cluster --workarea wa --table s \
    --fields "$fields" --type Q --measure "$measure" --quiet --out "wa/temp/c$measure.txt"
  t=$(echo "$(now) - $s" | bc -l)
  read -r rss user sys < "rss_$measure.txt"
  printf 'sarnoth-cli cluster Q, measure %d: %6.2f s (cpu %5.2f s)  peak memory %d MB (n x n doubles: %d MB)\n' \
    "$measure" "$t" "$(echo "$user + $sys" | bc -l)" $((rss / 1024)) $((N * N * 8 / 1048576))
done
Rscript -e "
  x <- as.matrix(read.csv('samples_$N.csv'))
  td <- system.time(d <- dist(x)); th <- system.time(h <- hclust(d, method = 'centroid'))
  cpu <- function(t) t[['user.self']] + t[['sys.self']]
  cat(sprintf('R dist: %6.2f s (cpu %5.2f s)   R hclust(centroid): %6.2f s (cpu %5.2f s)\n',
              td[['elapsed']], cpu(td), th[['elapsed']], cpu(th)))"
