#!/usr/bin/env bash
# Word error rate and real-time factor of murvel-cloud's recognition, on the sentences of
# bench/sentences.txt spoken by flite in the voices slt, awb and rms and converted by sox to
# 16 kHz mono 16-bit WAV, and on the recordings of people in ../shared/speech (beside the
# repository, with their transcripts in refs.tsv), when they are there. Starts its own
# murvel-cloud on a free loopback port with a throwaway data directory, and stops it after.
#
#   bench/cloud.sh             (MURVEL_BENCH_VERBOSE=1 also prints each misheard sentence)
#
# MURVEL_CLOUD_ARGS adds options to the measured murvel-cloud, such as "--pieces 2".
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset default >/dev/null
if ! build_log=$(cmake --build --preset default --target murvel-cloud murvel_bench_cloud -j2 2>&1); then
  printf '%s\n' "$build_log" >&2
  exit 1
fi

work="$(mktemp -d /tmp/murvel-bench-cloud.XXXXXX)"
pid=""
finish() {
  if [ -n "$pid" ]; then kill "$pid" 2>/dev/null || true; wait "$pid" 2>/dev/null || true; fi
  rm -rf "$work"
}
trap finish EXIT

voices=(slt awb rms)
for voice in "${voices[@]}"; do
  n=0
  while IFS= read -r sentence; do
    [ -n "$sentence" ] || continue
    n=$((n + 1))
    flite -voice "$voice" -t "$sentence" -o "$work/raw.wav"
    sox "$work/raw.wav" -r 16000 -c 1 -b 16 -e signed-integer "$work/$voice-$n.wav"
  done <bench/sentences.txt
done

cloud=build/default/cloud/murvel-cloud
export MURVEL_CLOUD_KEY
MURVEL_CLOUD_KEY="$("$cloud" --data-dir "$work/data" --issue-key bench@example.org)"
# With --port 0 the service picks a free port and names it in the line it prints once it listens.
mkfifo "$work/ready"
# shellcheck disable=SC2086 # the options are words of their own
"$cloud" --port 0 --data-dir "$work/data" ${MURVEL_CLOUD_ARGS:-} >"$work/ready" 2>"$work/cloud.log" &
pid=$!
read -r line <"$work/ready"
base="${line##* listening on }"
base="${base%/api}"

echo "Recognition by murvel-cloud of $(grep -c . bench/sentences.txt) flite sentences per voice, one request at a time, $(nproc) cores:"
./build/default/bench/murvel_bench_cloud "$base" bench/sentences.txt "$work" "${voices[@]}"

speech=../shared/speech
if [ -f "$speech/refs.tsv" ]; then
  echo
  echo "Recognition by murvel-cloud of $(($(grep -c . "$speech/refs.tsv") - 1)) recordings of people in $speech, one request at a time:"
  ./build/default/bench/murvel_bench_cloud "$base" --people "$speech"
else
  echo "no recordings of people in $speech: only the flite voices were measured" >&2
fi
