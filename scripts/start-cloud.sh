#!/usr/bin/env bash
# Starts the local transcription service in the background unless something already answers
# on its port, and returns once it listens. Its log goes to
# $XDG_STATE_HOME/murvel/murvel-cloud.log (~/.local/state by default).
#
#   scripts/start-cloud.sh [PROGRAM]    PROGRAM: build/default/cloud/murvel-cloud by default
#   MURVEL_CLOUD_PORT=N                 another port than 8787
set -euo pipefail
cd "$(dirname "$0")/.."
program="${1:-build/default/cloud/murvel-cloud}"
port="${MURVEL_CLOUD_PORT:-8787}"

if curl --silent --fail --head --max-time 2 --output /dev/null "http://127.0.0.1:$port/api/health"; then
  echo "murvel-cloud: something already answers on port $port; using it"
  exit 0
fi

log_dir="${XDG_STATE_HOME:-$HOME/.local/state}/murvel"
# Private, like everything of Murvel's in it: the app keeps its instance lock here too and
# refuses a folder that others may look into.
(umask 077 && mkdir -p "$log_dir")
chmod 700 "$log_dir"
log="$log_dir/murvel-cloud.log"

# The service prints one line on standard output once it listens (its log goes to standard
# error); reading that line through a pipe is how this script knows it is ready.
ready="$(mktemp -u "${TMPDIR:-/tmp}/murvel-cloud-ready.XXXXXX")"
mkfifo -m 600 "$ready"
trap 'rm -f "$ready"' EXIT
# Its own session, so that closing the terminal or ^C in Murvel leaves it running.
setsid "$program" --port "$port" >"$ready" 2>>"$log" </dev/null &
pid=$!
if read -r -t 120 line <"$ready"; then
  echo "$line" | tee -a "$log"
  exit 0
fi
echo "murvel-cloud did not start (process $pid); the end of $log:" >&2
tail -n 5 "$log" >&2
exit 1
