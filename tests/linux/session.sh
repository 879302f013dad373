#!/usr/bin/env bash
# Runs a command inside a private desktop session made for it, and tears the session down after.
#
#   session.sh [--x11] [--wm] [--tray] [--wayland PROGRAM] [--bus] [--keyring] [--pulse --mic FEEDER]
#              -- command [args...]
#
#   --x11      an Xvfb display (DISPLAY)
#   --wm       an EWMH window manager on it, openbox (implies --x11)
#   --tray     a system tray along the top edge of the screen, trayer (implies --wm)
#   --wayland  a headless sway with XWayland (WAYLAND_DISPLAY, DISPLAY, SWAYSOCK) whose two key
#              bindings tell PROGRAM that Right Control went down and came up
#              (`PROGRAM --hotkey press|release`), as a person would set them up. sway refuses to
#              run as root: run as root, the whole session runs as the user nobody.
#   --bus      a D-Bus session bus (DBUS_SESSION_BUS_ADDRESS)
#   --keyring  an unlocked Secret Service keyring on that bus (implies --bus)
#   --pulse    a PulseAudio server whose default source is "vmic", a virtual microphone that
#              delivers 16 kHz samples in real time like a sound card, fed by FEEDER (the program
#              built from demo/MicrophoneFeeder.cpp, given with --mic). Tests speak into
#              it through MURVEL_MIC_CONTROL (tests/support/VirtualMicrophone.h). The default sink
#              is a null sink "speakers".
#
# HOME and the XDG directories always point into a fresh temporary directory, so nothing of the
# real user's is touched. A service that cannot start is an error, never a skipped test.
set -euo pipefail

want_x11=0 want_wm=0 want_tray=0 want_bus=0 want_keyring=0 want_pulse=0 mic_feeder=
want_wayland=0 hotkey_program=
arguments=("$@")
while [ $# -gt 0 ]; do
  case "$1" in
    --x11) want_x11=1 ;;
    --wm) want_wm=1 want_x11=1 ;;
    --tray) want_tray=1 want_wm=1 want_x11=1 ;;
    --wayland) [ $# -ge 2 ] || { echo "session.sh: --wayland needs the program its bindings run" >&2; exit 2; }
      hotkey_program="$2" want_wayland=1; shift ;;
    --bus) want_bus=1 ;;
    --keyring) want_keyring=1 want_bus=1 ;;
    --pulse) want_pulse=1 ;;
    --mic) [ $# -ge 2 ] || { echo "session.sh: --mic needs the feeder program" >&2; exit 2; }
      mic_feeder="$2" want_pulse=1; shift ;;
    --) shift; break ;;
    *) echo "session.sh: unknown option $1" >&2; exit 2 ;;
  esac
  shift
done
[ $# -gt 0 ] || { echo "session.sh: no command given" >&2; exit 2; }
if [ "$want_pulse" = 1 ] && [ ! -x "$mic_feeder" ]; then
  echo "session.sh: --pulse needs the microphone feeder: --mic build/<preset>/demo/murvel_mic_feeder (built: ${mic_feeder:-none given})" >&2
  exit 2
fi

if [ "$want_wayland" = 1 ] && [ "$want_x11" = 1 ]; then
  echo "session.sh: --wayland brings its own X server (XWayland); leave out --x11" >&2
  exit 2
fi
# The compositor, and so everything that talks to it, runs as an ordinary user.
if [ "$want_wayland" = 1 ] && [ "$(id -u)" = 0 ]; then
  exec setpriv --reuid=nobody --regid=nogroup --clear-groups -- "$0" "${arguments[@]}"
fi

# Inside the bus session the rest of the script runs again, with the bus already there.
if [ "$want_bus" = 1 ] && [ -z "${MURVEL_SESSION_BUS:-}" ]; then
  flags=()
  [ "$want_x11" = 1 ] && flags+=(--x11)
  [ "$want_wm" = 1 ] && flags+=(--wm)
  [ "$want_tray" = 1 ] && flags+=(--tray)
  [ "$want_wayland" = 1 ] && flags+=(--wayland "$hotkey_program")
  [ "$want_keyring" = 1 ] && flags+=(--keyring)
  [ "$want_pulse" = 1 ] && flags+=(--pulse --mic "$mic_feeder")
  export MURVEL_SESSION_BUS=1
  exec dbus-run-session -- "$0" "${flags[@]}" -- "$@"
fi
unset MURVEL_SESSION_BUS

root=$(mktemp -d /tmp/murvel-session.XXXXXX)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  if [ "$want_pulse" = 1 ]; then pulseaudio --kill 2>/dev/null || true; fi
  for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
  rm -rf "$root"
}
trap cleanup EXIT

export HOME="$root/home"
export XDG_CONFIG_HOME="$HOME/.config" XDG_DATA_HOME="$HOME/.local/share"
export XDG_CACHE_HOME="$HOME/.cache" XDG_RUNTIME_DIR="$root/run"
mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME"
mkdir -m 0700 -p "$XDG_RUNTIME_DIR"

# Waits up to ten seconds for the check that follows `what` and `log` to pass; if it never does,
# says that `what` did not start, shows its log and ends the session.
await() {
  local what=$1 log=$2
  shift 2
  for _ in $(seq 1 200); do
    "$@" && return 0
    sleep 0.05
  done
  echo "session.sh: $what did not start" >&2
  if [ -f "$log" ]; then cat "$log" >&2; fi
  exit 1
}

# Without --x11 nothing may reach the developer's own screen (a keyring prompt, a window).
if [ "$want_x11" = 0 ]; then unset DISPLAY WAYLAND_DISPLAY; fi

if [ "$want_x11" = 1 ]; then
  exec 3> "$root/display"
  Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp -noreset >"$root/xvfb.log" 2>&1 &
  pids+=($!)
  exec 3>&-
  await Xvfb "$root/xvfb.log" test -s "$root/display"
  export DISPLAY=":$(head -n1 "$root/display")"
  # The private desktop is X11 alone: nothing started here may reach a Wayland compositor.
  unset WAYLAND_DISPLAY
fi

if [ "$want_wayland" = 1 ]; then
  # The environment that sway gives the programs it starts names its sockets and XWayland's
  # display; it is written once sway runs.
  cat >"$root/sway.config" <<EOF
output HEADLESS-1 resolution 1280x800
xwayland enable
bindsym --no-repeat Control_R exec '$hotkey_program' --hotkey press
bindsym --release Control_R exec '$hotkey_program' --hotkey release
exec env >'$root/sway.env.part' && mv '$root/sway.env.part' '$root/sway.env'
EOF
  WLR_BACKENDS=headless WLR_RENDERER=pixman WLR_LIBINPUT_NO_DEVICES=1 \
    sway --config "$root/sway.config" >"$root/sway.log" 2>&1 &
  pids+=($!)
  await sway "$root/sway.log" test -s "$root/sway.env"
  for name in WAYLAND_DISPLAY DISPLAY SWAYSOCK; do
    export "$(grep -m1 "^$name=" "$root/sway.env")"
  done
  export XDG_SESSION_TYPE=wayland XDG_CURRENT_DESKTOP=sway
fi

if [ "$want_wm" = 1 ]; then
  openbox --sm-disable --config-file /dev/null >"$root/openbox.log" 2>&1 &
  pids+=($!)
  # The manager is in charge once it names itself on the root window.
  wm_up() { [[ "$(xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null)" == *'window id'* ]]; }
  await openbox "$root/openbox.log" wm_up
fi

if [ "$want_tray" = 1 ]; then
  trayer --edge top --align right --widthtype request --height 24 --SetDockType true \
    --SetPartialStrut true --transparent false --tint 0x2b2b2b >"$root/trayer.log" 2>&1 &
  pids+=($!)
  # The tray is there once its window is; it took the XEmbed tray selection before that.
  tray_up() { [[ "$(xwininfo -root -tree 2>/dev/null)" == *'("trayer" "Trayer")'* ]]; }
  await trayer "$root/trayer.log" tray_up
fi

if [ "$want_keyring" = 1 ]; then
  # An empty login keyring, created and unlocked with a throwaway password. The daemon stays in
  # the foreground so that its own pid is known and only this session's daemon is stopped.
  gnome-keyring-daemon --foreground --unlock --components=secrets \
    < <(printf 'murvel-test') >"$root/keyring.log" 2>&1 &
  pids+=($!)
  # Ready once the keyring is written and the daemon answers for the Secret Service.
  keyring_up() {
    [ -s "$HOME/.local/share/keyrings/login.keyring" ] &&
      dbus-send --session --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus \
        org.freedesktop.DBus.NameHasOwner string:org.freedesktop.secrets 2>/dev/null |
      grep -q 'boolean true'
  }
  await "the keyring" "$root/keyring.log" keyring_up
fi

if [ "$want_pulse" = 1 ]; then
  export MURVEL_MIC_FIFO="$root/vmic.fifo" MURVEL_MIC_CONTROL="$root/vmic.sock"
  pulseaudio -D -n --exit-idle-time=-1 --daemonize=yes --log-target=file:"$root/pulse.log" \
    --load=module-native-protocol-unix \
    --load="module-pipe-source source_name=vmic file=$MURVEL_MIC_FIFO format=s16le rate=16000 channels=1" \
    --load="module-null-sink sink_name=speakers" 2>/dev/null
  pulse_up() { pactl info >/dev/null 2>&1; }
  await PulseAudio "$root/pulse.log" pulse_up
  pactl set-default-sink speakers
  pactl set-default-source vmic
  "$mic_feeder" "$MURVEL_MIC_FIFO" "$MURVEL_MIC_CONTROL" 2>"$root/feeder.log" &
  pids+=($!)
  await "the microphone feeder" "$root/feeder.log" test -S "$MURVEL_MIC_CONTROL"
  # A null sink that nothing plays into renders two seconds ahead and then sleeps; a stream of
  # silence keeps the speakers in small steps, so what the app plays is heard when it plays it.
  pacat --playback --device=speakers --latency-msec=20 --raw /dev/zero >/dev/null 2>&1 &
  pids+=($!)
  for _ in $(seq 1 100); do
    [ "$(pactl list short sink-inputs | wc -l)" -ge 1 ] && break
    sleep 0.05
  done
  pactl suspend-sink speakers 1 && pactl suspend-sink speakers 0
fi

set +e
"$@"
status=$?
set -e
exit "$status"
