#!/usr/bin/env bash
# Installs every Debian package that building, running and testing Murvel needs.
# Safe to run again: apt-get skips what is already there.
set -euo pipefail

packages=(
  # toolchain
  build-essential cmake ninja-build pkg-config clang-format git ca-certificates ccache
  # the fuzzers: clang with libFuzzer and the sanitizer runtimes
  clang libclang-rt-14-dev
  # libraries of the core and its tests
  libgtest-dev libgmock-dev libbenchmark-dev nlohmann-json3-dev uuid-dev libicu-dev liburiparser-dev
  libcurl4-openssl-dev libcpp-httplib-dev libssl-dev
  # the Linux desktop backend
  qt6-base-dev qt6-svg-dev libqt6svg6 libx11-dev libxi-dev libxtst-dev libpulse-dev libsecret-1-dev
  libglib2.0-dev
  # fonts the panel draws with: text, and the colour glyphs of its state icons
  fontconfig fonts-dejavu-core fonts-noto-color-emoji
  # the local service
  libpocketsphinx-dev pocketsphinx-en-us libsqlite3-dev
  # what the real-component tests run against
  xdg-utils desktop-file-utils
  xvfb xauth x11-utils xdotool procps pulseaudio pulseaudio-utils flite sox dbus dbus-x11 gnome-keyring
  openbox trayer openssl curl
  # a headless Wayland desktop: compositor, a native terminal, keys, clipboard and screenshots
  sway foot wtype wl-clipboard grim
  xwayland  # the app is an X11 client of XWayland on a Wayland desktop
)

sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi

export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -q
"${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${packages[@]}"
