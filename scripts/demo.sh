#!/usr/bin/env bash
# What the run command does on a machine without an X11 display: one whole dictation on a private
# virtual desktop (Xvfb, a window manager and a tray, a keyring, a sound server whose microphone
# hears flite's speech, murvel-cloud, the real app and a text window in front), ending with the
# sentence spoken, the text that arrived in the window and screenshots of the panel and Settings.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ -n "${WAYLAND_DISPLAY:-}" ]; then
  echo "This Wayland session offers no X11 display for Murvel, so it shows a dictation on a private virtual desktop instead."
else
  echo "There is no display to show Murvel on, so it shows a dictation on a private virtual desktop instead."
fi

./scripts/install-deps.sh >/dev/null
cmake --preset default >/dev/null
cmake --build --preset default --target murvel_demo -j "$(nproc)" >/dev/null
build="$PWD/build/default"
mkdir -p "$build/demo/screenshots"
exec ./tests/linux/session.sh --tray --keyring --pulse --mic "$build/demo/murvel_mic_feeder" \
  -- "$build/demo/murvel_demo" "$build/demo/screenshots"
