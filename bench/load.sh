#!/usr/bin/env bash
# murvel-cloud under load: CLIENTS clients (8 by default), each with an access key of its own,
# send the real recordings of ../shared/speech one after another for SECONDS seconds (30) to a
# murvel-cloud that this script starts on a free loopback port, while a prober asks `health`
# every 100 ms; then one cleanup of 1 MiB of fillers. Prints one line of figures:
#
#   clients served lost busy p50_ms p95_ms peak_rss_mb slowest_health_ms cleanup_1mib_ms
#
# lost: replies that never came or were a failure of the service; busy: "The service is
# busy…" refusals.
#
#   bench/load.sh [clients] [seconds]
set -euo pipefail
cd "$(dirname "$0")/.."
clients="${1:-8}"
seconds="${2:-30}"
speech="$(cd .. && pwd)/shared/speech"
program=build/default/cloud/murvel-cloud
ls "$speech"/*.wav >/dev/null

cmake --build --preset default --target murvel-cloud -j2 >/dev/null
work=$(mktemp -d /tmp/murvel-load.XXXXXX)
pid=
trap '[ -n "$pid" ] && kill "$pid" 2>/dev/null; wait 2>/dev/null; [ -n "${MURVEL_LOAD_KEEP:-}" ] || rm -rf "$work"' EXIT

for i in $(seq "$clients"); do
  "$program" --data-dir "$work/data" --issue-key "load$i@example.com" >"$work/key$i"
done

mkfifo "$work/ready"
"$program" --port 0 --data-dir "$work/data" >"$work/ready" 2>"$work/log" &
pid=$!
read -r line <"$work/ready"
port="${line##*127.0.0.1:}"
port="${port%%/*}"
base="http://127.0.0.1:$port/api"

end=$(($(date +%s) + seconds))
client() {
  local key
  key=$(cat "$work/key$1")
  while [ "$(date +%s)" -lt "$end" ]; do
    for file in "$speech"/*.wav; do
      [ "$(date +%s)" -lt "$end" ] || break
      curl --silent --output /dev/null --max-time 600 --write-out '%{http_code} %{time_total}\n' \
        -H "Authorization: Bearer $key" -H 'X-Murvel-Cleanup-Mode: fast' \
        -H 'Content-Type: audio/wav' --data-binary "@$file" "$base/transcribe" || true
    done
  done >"$work/replies$1"
}
prober() {
  while [ "$(date +%s)" -lt "$end" ]; do
    curl --silent --output /dev/null --max-time 5 --head --write-out '%{http_code} %{time_total}\n' \
      "$base/health" || true
    sleep 0.1
  done >"$work/health"
}
for i in $(seq "$clients"); do client "$i" & done
prober &
wait $(jobs -p | grep -v "^$pid\$")

key=$(cat "$work/key1")
printf '{"mode":"fast","text":"%s"}' "$(yes 'um ' | head -c $((1024 * 1024 - 64)) | tr -d '\n')" \
  >"$work/cleanup.json"
cleanup=$(curl --silent --output /dev/null --max-time 600 --write-out '%{time_total}' \
  -H "Authorization: Bearer $key" -H 'Content-Type: application/json' \
  --data-binary "@$work/cleanup.json" "$base/cleanup")
peak=$(awk '/^VmHWM/ { printf "%.0f", $2 / 1024 }' "/proc/$pid/status")

health=$(awk '$1 != 200 { bad = 1 } { if ($2 > m) m = $2 } END { printf "%.1f", bad ? 9999 : m * 1000 }' "$work/health")
cat "$work"/replies* | awk '$1 == 200 || $1 == 422 { print $2 * 1000 }' | sort -n >"$work/times"
served=$(wc -l <"$work/times")
busy=$(cat "$work"/replies* | awk '$1 == 503' | wc -l)
lost=$(cat "$work"/replies* | awk '$1 != 200 && $1 != 422 && $1 != 503' | wc -l)
at() { awk -v q="$1" '{ t[NR] = $1 } END { printf "%.0f", NR ? t[int((NR - 1) * q) + 1] : 0 }' "$work/times"; }
echo "$clients $served $lost $busy $(at 0.5) $(at 0.95) $peak $health $(awk -v s="$cleanup" 'BEGIN { printf "%.0f", s * 1000 }')"
