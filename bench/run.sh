#!/usr/bin/env bash
# Builds the benchmarks and prints their figures. Each runs inside a private session where it
# needs one (a sound server for the recorder), so nothing of the user's is touched.
#
#   bench/run.sh [runs]
set -euo pipefail
cd "$(dirname "$0")/.."
runs="${1:-30}"

cmake --preset default >/dev/null
cmake --build --preset default --target murvel_audio_latency murvel_bench_net_warmup -j "$(nproc)"

echo "== Connection warm-up: time to the reply of an upload, with and without a HEAD first =="
./tests/linux/session.sh -- ./build/default/bench/murvel_bench_net_warmup "$runs"
echo
echo "== Recorder: from record() to the first captured audio, and stop() =="
./tests/linux/session.sh --pulse -- ./build/default/bench/murvel_audio_latency "$runs"
echo
echo "== Local service: word error rate and real-time factor of recognition =="
./bench/cloud.sh
