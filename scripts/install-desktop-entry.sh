#!/usr/bin/env bash
# Declares Murvel to the current user's desktop, so that murvel: links (the browser's return from
# sign-in) start it or reach the running one.
#
#   install-desktop-entry.sh /absolute/path/to/murvel
#
# Writes $XDG_DATA_HOME/applications/murvel.desktop (default ~/.local/share/applications) with
# Exec pointing at the given binary, then, where installed, refreshes that directory's MIME cache
# (update-desktop-database, Debian package desktop-file-utils) and makes the entry the handler of
# murvel: links (xdg-mime, package xdg-utils). Running it again gives the same result. It never
# writes outside the user's own directories.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
template="$here/../packaging/linux/murvel.desktop"

die() { echo "install-desktop-entry.sh: $*" >&2; exit 1; }

[ $# -eq 1 ] || die "usage: install-desktop-entry.sh /absolute/path/to/murvel"
binary=$1
case "$binary" in
  /*) ;;
  *) die "the binary path must be absolute: $binary" ;;
esac
[ -f "$binary" ] && [ -x "$binary" ] || die "not an executable file: $binary"
# Characters that the Exec key can carry only with escapes that desktops read differently.
case "$binary" in
  *[\"\`\$\\%]* | *$'\n'* | *$'\t'*) die "unsupported character in the binary path: $binary" ;;
esac
[ -r "$template" ] || die "missing $template"

# Relative values of XDG_DATA_HOME are invalid and ignored, as the XDG rules say.
data_home=${XDG_DATA_HOME:-}
case "$data_home" in
  /*) ;;
  *)
    [ -n "${HOME:-}" ] || die "neither XDG_DATA_HOME nor HOME is set"
    data_home="$HOME/.local/share"
    ;;
esac
data_home=${data_home%/}
# The system's data directories are not the user's to write.
IFS=: read -r -a system_dirs <<< "${XDG_DATA_DIRS:-/usr/local/share:/usr/share}"
for dir in "${system_dirs[@]}" /usr/share /usr/local/share; do
  [ "$data_home" != "${dir%/}" ] || die "$data_home is a system-wide location"
done

# A path with blanks or shell characters is quoted as a whole.
if [[ "$binary" =~ ^[A-Za-z0-9/._+-]+$ ]]; then
  exec_line="Exec=$binary %u"
else
  exec_line="Exec=\"$binary\" %u"
fi

applications="$data_home/applications"
mkdir -p "$applications"
target="$applications/murvel.desktop"
temporary=$(mktemp "$applications/.murvel.desktop.XXXXXX")
trap 'rm -f "$temporary"' EXIT
while IFS= read -r line || [ -n "$line" ]; do
  case "$line" in
    Exec=*) printf '%s\n' "$exec_line" ;;
    *) printf '%s\n' "$line" ;;
  esac
done < "$template" > "$temporary"
chmod 0644 "$temporary"
mv -f "$temporary" "$target"
trap - EXIT
echo "Installed $target"

if command -v update-desktop-database >/dev/null 2>&1; then
  update-desktop-database "$applications"
else
  echo "update-desktop-database not found (package desktop-file-utils): skipped" >&2
fi
if command -v xdg-mime >/dev/null 2>&1; then
  xdg-mime default murvel.desktop x-scheme-handler/murvel
else
  echo "xdg-mime not found (package xdg-utils): murvel: links may not reach Murvel" >&2
fi
