#!/usr/bin/env bash
# The example hosts run as a user runs them: read_spectrobin on the demo's
# measured stream (a line per patch), on the same stream cut short (refused,
# naming the field) and on a stream of no charts.
set -euo pipefail
tool=$1 reader=$2
work=$(mktemp -d /tmp/hxtvel_examples_XXXXXX)
trap 'rm -rf "$work"' EXIT
"$tool" demo --out "$work/demo" >/dev/null
stream="$work/demo/measurement.spectrobin"
out=$("$reader" "$stream")
grep -q '^.*: 2 charts$' <<<"$out"
test "$(grep -c 'L\*' <<<"$out")" -eq 205
head -c 500 "$stream" >"$work/cut.spectrobin"
if "$reader" "$work/cut.spectrobin" 2>"$work/err"; then echo "a cut stream was read"; exit 1; fi
grep -q 'cut short at byte 500: block 0 patch data' "$work/err"
{ printf '\001\000'; head -c 37 "$stream" | tail -c 35; } >"$work/none.spectrobin"
"$reader" "$work/none.spectrobin" | grep -q ': 0 charts$'
echo "examples: ok"
