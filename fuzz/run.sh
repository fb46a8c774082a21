#!/usr/bin/env bash
# Runs the fuzz targets, each for SECONDS (default 60), with seeds made by
# make_seeds.py and a corpus kept in build-fuzz/corpus/<target>. Findings go
# to fuzz/findings/; the script fails if any target finds something.
#
#   fuzz/run.sh [SECONDS] [TARGET...]
#   FUZZ_BUILD=dir  build directory (default build-fuzz)
#   FUZZ_JOBS=n     targets run at once (default 1)
set -uo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(fuzz_cgats fuzz_spectrobin fuzz_mchart fuzz_colour)
build=${FUZZ_BUILD:-build-fuzz}

if [ ! -x "$build/fuzz/fuzz_cgats" ]; then
  CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DHXTVEL_BUILD_FUZZ=ON \
    -DHXTVEL_BUILD_TESTS=OFF -DHXTVEL_BUILD_BENCH=OFF -DHXTVEL_BUILD_TOOLS=OFF -DHXTVEL_BUILD_EXAMPLES=OFF \
    -DHXTVEL_WERROR=ON >/dev/null || exit 1
fi
cmake --build "$build" -j2 >/dev/null || exit 1
python3 fuzz/make_seeds.py "$build/seeds" || exit 1
mkdir -p fuzz/findings

status=0
for t in "${targets[@]}"; do
  corpus="$build/corpus/$t"
  mkdir -p "$corpus"
  dict=()
  [ "$t" = fuzz_cgats ] && dict=(-dict=fuzz/cgats.dict)
  log="$build/$t.log"
  TMPDIR=${TMPDIR:-/tmp} "$build/fuzz/$t" "$corpus" "$build/seeds/$t" "${dict[@]}" \
    -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix=fuzz/findings/"$t"- >"$log" 2>&1
  rc=$?
  execs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$')
  echo "$t: ${execs:-?} executions in ${seconds} s, corpus $(ls "$corpus" | wc -l) inputs, exit $rc"
  if [ $rc -ne 0 ]; then
    status=1
    grep -m5 -E 'ERROR|check failed|runtime error|SUMMARY' "$log"
  fi
done
exit $status
