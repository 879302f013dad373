#!/usr/bin/env bash
# Declares Murvel to the desktop, so that it shows in the application menus with its icon and
# murvel: links (the browser's return from sign-in) start it or reach the running one.
#
#   install-desktop-entry.sh [--data-dir DIR [--staged]] /absolute/path/to/murvel
#
# Writes, under the data directory:
#   applications/murvel.desktop                the entry, with the murvel: scheme
#   icons/hicolor/scalable/apps/murvel.svg     its icon
#   murvel/autostart/murvel.desktop            an entry to start Murvel at login, off until the
#                                              user copies it into ~/.config/autostart
# then refreshes the MIME cache of that applications directory (update-desktop-database, Debian
# package desktop-file-utils) and, when the directory is the user's own, makes the entry the
# handler of murvel: links (xdg-mime, package xdg-utils). Running it again gives the same result.
#
# Without --data-dir it is the user's own data directory ($XDG_DATA_HOME, or ~/.local/share), and
# it never writes outside the user's own directories. With --data-dir (what `cmake --install`
# passes: the prefix's share/), the binary is where it will be once installed; --staged, for a
# DESTDIR install into a package's tree, writes the files and registers nothing.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
template="$here/../packaging/linux/murvel.desktop"
icon="$here/../src/platform/linux/ui/icons/murvel.svg"

die() { echo "install-desktop-entry.sh: $*" >&2; exit 1; }
usage="usage: install-desktop-entry.sh [--data-dir DIR [--staged]] /absolute/path/to/murvel"

data_dir="" staged=0
while [ $# -gt 1 ]; do
  case "$1" in
    --data-dir) [ $# -gt 2 ] || die "$usage"; data_dir=$2; shift 2 ;;
    --staged) staged=1; shift ;;
    *) die "$usage" ;;
  esac
done
[ $# -eq 1 ] || die "$usage"
binary=$1
[ -n "$data_dir" ] || [ "$staged" = 0 ] || die "--staged needs --data-dir"
case "$binary" in
  /*) ;;
  *) die "the binary path must be absolute: $binary" ;;
esac
if [ -z "$data_dir" ]; then
  [ -f "$binary" ] && [ -x "$binary" ] || die "not an executable file: $binary"
fi
# Characters that the Exec key can carry only with escapes that desktops read differently.
case "$binary" in
  *[\"\`\$\\%]* | *$'\n'* | *$'\t'*) die "unsupported character in the binary path: $binary" ;;
esac
[ -r "$template" ] || die "missing $template"
[ -r "$icon" ] || die "missing $icon"

# Relative values of XDG_DATA_HOME are invalid and ignored, as the XDG rules say.
user_data=${XDG_DATA_HOME:-}
case "$user_data" in
  /*) ;;
  *) user_data=${HOME:+$HOME/.local/share} ;;
esac
user_data=${user_data%/}

if [ -z "$data_dir" ]; then
  [ -n "$user_data" ] || die "neither XDG_DATA_HOME nor HOME is set"
  data_dir=$user_data
  # The system's data directories are not the user's to write.
  IFS=: read -r -a system_dirs <<< "${XDG_DATA_DIRS:-/usr/local/share:/usr/share}"
  for dir in "${system_dirs[@]}" /usr/share /usr/local/share; do
    [ "$data_dir" != "${dir%/}" ] || die "$data_dir is a system-wide location"
  done
else
  case "$data_dir" in
    /*) ;;
    *) die "the data directory must be absolute: $data_dir" ;;
  esac
  data_dir=${data_dir%/}
fi

# A path with blanks or shell characters is quoted as a whole.
if [[ "$binary" =~ ^[A-Za-z0-9/._+-]+$ ]]; then
  command=$binary
else
  command="\"$binary\""
fi

# Writes standard input to `target` in one step, so that no reader sees half a file.
put() {
  local target=$1 mode=$2 temporary
  mkdir -p "$(dirname "$target")"
  temporary=$(mktemp "$(dirname "$target")/.murvel.XXXXXX")
  if ! cat > "$temporary" || ! chmod "$mode" "$temporary" || ! mv -f "$temporary" "$target"; then
    rm -f "$temporary"
    die "could not write $target"
  fi
  echo "Installed $target"
}

# The entry as the template has it, with Exec naming this binary; `autostart` drops the link
# handling, since a login starts Murvel with no link to open.
entry() {
  local line
  while IFS= read -r line || [ -n "$line" ]; do
    case "$line" in
      Exec=*) if [ "$1" = autostart ]; then echo "Exec=$command"; else echo "Exec=$command %u"; fi ;;
      MimeType=*) [ "$1" = autostart ] || printf '%s\n' "$line" ;;
      *) printf '%s\n' "$line" ;;
    esac
  done < "$template"
}

applications="$data_dir/applications"
entry menu | put "$applications/murvel.desktop" 0644
put "$data_dir/icons/hicolor/scalable/apps/murvel.svg" 0644 < "$icon"
entry autostart | put "$data_dir/murvel/autostart/murvel.desktop" 0644

[ "$staged" = 0 ] || exit 0
if command -v update-desktop-database >/dev/null 2>&1; then
  update-desktop-database "$applications"
else
  echo "update-desktop-database not found (package desktop-file-utils): skipped" >&2
fi
# The default handler is a choice of the user's own: only for an entry in the user's directory.
[ "$data_dir" = "$user_data" ] || exit 0
if command -v xdg-mime >/dev/null 2>&1; then
  xdg-mime default murvel.desktop x-scheme-handler/murvel
else
  echo "xdg-mime not found (package xdg-utils): murvel: links may not reach Murvel" >&2
fi
