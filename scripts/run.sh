#!/usr/bin/env bash
# Installs what Murvel needs, builds it, registers its murvel: links with the desktop and runs it.
# Murvel talks to the transcription service at the address fixed into the build: by default the
# local service on http://127.0.0.1:8787/api, which is started here unless it already runs.
set -euo pipefail
cd "$(dirname "$0")/.."

# Without an X11 display there is nowhere to show the app: a demonstration runs instead.
if [ -z "${DISPLAY:-}" ]; then exec ./scripts/demo.sh; fi

./scripts/install-deps.sh
cmake --preset default
cmake --build --preset default --target murvel murvel-cloud register-desktop-entry -j "$(nproc)"
./scripts/start-cloud.sh build/default/cloud/murvel-cloud
exec ./build/default/src/platform/linux/murvel "$@"
