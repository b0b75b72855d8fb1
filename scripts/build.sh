#!/usr/bin/env bash
# Configures and builds the workbench into build/ (BUILD_DIR and BUILD_TYPE override).
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD_DIR=${BUILD_DIR:-build}
BUILD_TYPE=${BUILD_TYPE:-RelWithDebInfo}
# Compiler cache shared by every checkout of the project: paths are taken relative to the
# checkout, so a second clone or work tree compiles from the cache.
export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$(dirname "$PWD")}
export CCACHE_NOHASHDIR=${CCACHE_NOHASHDIR:-1}
cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE="$BUILD_TYPE" "$@"
cmake --build "$BUILD_DIR" -j "$(nproc)"
