#!/usr/bin/env bash
# Runs a command in a clean Debian 12 root, as a new user's freshly installed machine would be:
#
#   scripts/fresh-machine.sh [COMMAND...]     default: ./scripts/test.sh
#
# The root comes from `debootstrap --variant=minbase bookworm` against the Debian mirror this
# machine's apt uses. It holds a `git clone` of this checkout at /murvel: the COMMITTED state of
# the current branch, so commit what you want to try first. The command runs there as root with a
# plain environment (no DISPLAY), after /proc, /sys, /dev and a fresh /tmp are mounted; everything
# it starts ends with it, the mounts go on every exit path and the root is deleted afterwards.
# The script's status is the command's.
#
# Kept under /var/cache/murvel-fresh-machine so a second run is quicker:
#   bookworm-minbase-<mirror>-<date>.tar.gz  the untouched debootstrap result, one per mirror and day
#   ccache/                                  the compiler cache of builds inside the root
# Nothing that the project's scripts install is kept: every package is downloaded and installed
# afresh each time. MURVEL_FRESH_CACHE=0 builds without the compiler cache; MURVEL_FRESH_KEEP=1
# keeps the root (its path is printed) for a look afterwards. Needs root.
set -euo pipefail

if [ "${1:-}" = "--inside" ]; then
  # Second half, in a private mount and process namespace: mount, run, unmount.
  shift
  root="$1"
  shift
  mounted=()
  unmount_all() {
    local i
    for ((i = ${#mounted[@]} - 1; i >= 0; i--)); do
      umount -R "${mounted[i]}" 2>/dev/null || umount -R -l "${mounted[i]}" || true
    done
  }
  trap unmount_all EXIT
  mount -t proc proc "$root/proc"
  mounted+=("$root/proc")
  mount --rbind /sys "$root/sys"
  mounted+=("$root/sys")
  mount --make-rslave "$root/sys"
  mount --rbind /dev "$root/dev"
  mounted+=("$root/dev")
  mount --make-rslave "$root/dev"
  mount -t tmpfs -o mode=1777 tmpfs "$root/tmp"
  mounted+=("$root/tmp")
  if [ -n "${MURVEL_FRESH_CCACHE:-}" ]; then
    mkdir -p "$root/var/cache/ccache"
    mount --bind "$MURVEL_FRESH_CCACHE" "$root/var/cache/ccache"
    mounted+=("$root/var/cache/ccache")
  fi
  environment=(HOME=/root PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin
    LANG=C.UTF-8 TERM="${TERM:-dumb}")
  if [ -n "${CI:-}" ]; then environment+=(CI="$CI"); fi
  if [ -n "${MURVEL_FRESH_CCACHE:-}" ]; then environment+=(CCACHE_DIR=/var/cache/ccache); fi
  status=0
  chroot "$root" /usr/bin/env -i "${environment[@]}" /bin/bash -c 'cd /murvel && "$@"' bash "$@" ||
    status=$?
  exit "$status"
fi

if [ "$(id -u)" -ne 0 ]; then
  echo "fresh-machine.sh needs root (it runs debootstrap, chroot and mount)." >&2
  exit 1
fi
repo="$(cd "$(dirname "$0")/.." && pwd)"
if [ $# -eq 0 ]; then set -- ./scripts/test.sh; fi

# The mirror this machine's apt already uses (deb822 or one-line sources), Debian's own otherwise.
apt_uris() {
  {
    sed -n 's/^URIs:[[:space:]]*//p' /etc/apt/sources.list.d/*.sources 2>/dev/null | tr ' ' '\n'
    sed -n 's/^deb[[:space:]]\+\(\[[^]]*\][[:space:]]\+\)\?\([^[:space:]]\+\).*/\2/p' \
      /etc/apt/sources.list /etc/apt/sources.list.d/*.list 2>/dev/null
  } | grep -v '^$' || true
}
mirror="${MURVEL_FRESH_MIRROR:-$(apt_uris | grep -m1 '/debian/\?$' || true)}"
mirror="${mirror:-http://deb.debian.org/debian}"
mirror="${mirror%/}"
security="$(apt_uris | grep -m1 '/debian-security/\?$' || true)"
security="${security:-http://deb.debian.org/debian-security}"
security="${security%/}"

if ! command -v debootstrap >/dev/null; then
  DEBIAN_FRONTEND=noninteractive apt-get update -q
  DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends debootstrap
fi

cache=/var/cache/murvel-fresh-machine
mkdir -p "$cache"
key="$(printf '%s' "$mirror" | sed 's|^[a-z]*://||; s|[^A-Za-z0-9.-]|_|g')"
tarball="$cache/bookworm-minbase-$key-$(date -u +%Y%m%d).tar.gz"

root=""
fresh_root=""
cleanup() {
  local status=$?
  local dir
  for dir in "$fresh_root" "$root"; do
    [ -n "$dir" ] && [ -d "$dir" ] || continue
    # The mounts live in the command's own namespace and go with it; this catches the unexpected.
    while read -r target; do
      umount -R "$target" 2>/dev/null || umount -R -l "$target" || true
    done < <(findmnt -rn -o TARGET | grep -F "$dir/" | sort -r || true)
    if [ "$dir" = "$root" ] && [ "${MURVEL_FRESH_KEEP:-0}" = 1 ]; then
      echo "fresh-machine.sh: the root is kept at $root" >&2
    elif findmnt -rn -o TARGET | grep -qF "$dir/"; then
      echo "fresh-machine.sh: $dir still has mounts, so it is left in place" >&2
    else
      rm -rf --one-file-system "$dir"
    fi
  done
  exit "$status"
}
inner=""
# An interrupted run ends the command at once: with its namespace goes everything it started.
stop() {
  if [ -n "$inner" ]; then kill -KILL "$inner" 2>/dev/null && wait "$inner" 2>/dev/null || true; fi
  exit "$1"
}
trap cleanup EXIT
trap 'stop 130' INT
trap 'stop 143' TERM

if [ ! -f "$tarball" ]; then
  echo "== debootstrap --variant=minbase bookworm from $mirror"
  fresh_root="$(mktemp -d /var/tmp/murvel-debootstrap.XXXXXX)"
  debootstrap --variant=minbase bookworm "$fresh_root" "$mirror"
  chmod 755 "$fresh_root"
  tar -C "$fresh_root" --numeric-owner -czf "$tarball.part" .
  mv "$tarball.part" "$tarball"
  rm -rf --one-file-system "$fresh_root"
  fresh_root=""
  # Older snapshots of the same mirror are of no further use.
  find "$cache" -maxdepth 1 -name "bookworm-minbase-$key-*.tar.gz" ! -path "$tarball" -delete
fi

root="$(mktemp -d /var/tmp/murvel-fresh-machine.XXXXXX)"
tar -C "$root" --numeric-owner -xpzf "$tarball"
# mktemp made it private; as the top of a machine it is open to every user.
chmod 755 "$root"
cp /etc/resolv.conf "$root/etc/resolv.conf"
cat >"$root/etc/apt/sources.list" <<EOF
deb $mirror bookworm main
deb $mirror bookworm-updates main
deb $security bookworm-security main
EOF
# As in any chroot: packages installed inside must not start their services.
printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d"
chmod 755 "$root/usr/sbin/policy-rc.d"
git clone -q "$repo" "$root/murvel"
echo "== in a clean Debian 12 root ($root), at $(git -C "$root/murvel" log -1 --format='%h %s'):" "$@"

# Packages downloaded by an earlier version of this script are not to be used again.
rm -rf "$cache/apt-archives"
if [ "${MURVEL_FRESH_CACHE:-1}" != 0 ]; then
  mkdir -p "$cache/ccache"
  export MURVEL_FRESH_CCACHE="$cache/ccache"
fi
# In the background, so that a signal to this script is acted on while the command runs.
unshare --mount --pid --fork --kill-child --propagation private -- \
  bash "$repo/scripts/fresh-machine.sh" --inside "$root" "$@" <&0 &
inner=$!
status=0
wait "$inner" || status=$?
inner=""
exit "$status"
