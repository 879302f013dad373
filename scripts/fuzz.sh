#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, AddressSanitizer, UndefinedBehaviorSanitizer) and runs
# each one for a while, starting from the seed corpus kept in fuzz/corpus/<target>. Any finding
# fails the run and leaves its input under build/fuzz/findings/.
#
#   scripts/fuzz.sh [seconds per target]     default 30
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-30}"

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$(nproc)"

findings=build/fuzz/findings
mkdir -p "$findings"
status=0
for seeds in fuzz/corpus/*/; do
  target=$(basename "$seeds")
  binary="build/fuzz/fuzz/fuzz_$target"
  [ -x "$binary" ] || { echo "fuzz.sh: no fuzzer for $seeds" >&2; status=1; continue; }
  # New inputs go to a scratch corpus, so the tree's seeds stay as they are.
  scratch=$(mktemp -d)
  echo "== fuzz_$target for ${seconds}s"
  if ! "$binary" "$scratch" "$seeds" -max_total_time="$seconds" -print_final_stats=1 \
      -artifact_prefix="$findings/$target-" >"$findings/$target.log" 2>&1; then
    echo "fuzz.sh: fuzz_$target found a fault; its log and input are in $findings:" >&2
    grep -E "ERROR|violated|SUMMARY" "$findings/$target.log" >&2 || tail -n 20 "$findings/$target.log" >&2
    status=1
  fi
  grep -E "number_of_executed_units" "$findings/$target.log" || true
  rm -rf "$scratch"
done
exit "$status"
