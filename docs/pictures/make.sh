#!/usr/bin/env bash
# Takes the picture of the SoundFont player at work, docs/pictures/soundfont.png, on an X server of its own.
set -eu
cd "$(dirname "$0")/../.."
. cmake/packages.sh
install_packages "${build_packages[@]}" xvfb openbox xdotool x11-utils x11-apps imagemagick fonts-dejavu-core
[ -x build/release/bin/SoundFont ] || build release

home=$(mktemp -d)
pids=()
# One after the other: the player first, the server last.
finish() {
  for ((i = ${#pids[@]} - 1; i >= 0; --i)); do
    kill "${pids[i]}" 2>/dev/null || true
    wait "${pids[i]}" 2>/dev/null || true
  done
  rm -rf "$home"
}
trap finish EXIT

until_true() { # until_true COMMAND...: 20 seconds at most
  for ((i = 0; i < 200; ++i)); do
    "$@" >/dev/null 2>&1 && return
    sleep 0.1
  done
  echo "docs/pictures/make.sh: waited in vain for: $*" >&2
  return 1
}

export HOME=$home XDG_CONFIG_HOME=$home
exec 3>"$home/display"
Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp -noreset >/dev/null 2>&1 &
pids+=($!)
until_true test -s "$home/display"
DISPLAY=:$(cat "$home/display")
export DISPLAY
openbox --startup "touch $home/managed" >/dev/null 2>&1 &
pids+=($!)
until_true test -e "$home/managed"
build/release/bin/SoundFont --driver "LOOM File Driver" share/demo.mid >/dev/null &
pids+=($!)
until_true xdotool search --onlyvisible --name "SoundFont Player"
xdotool mousemove 1279 799
sleep "${1:-31}" # into the song, where the whole orchestra plays

window=$(xdotool search --onlyvisible --name "SoundFont Player")
frame=$(xwininfo -id "$window" -tree | sed -n 's/.*Parent window id: \(0x[0-9a-f]*\).*/\1/p')
# What it is inside of, up to the frame with the title.
while parent=$(xwininfo -id "$frame" -tree | sed -n 's/.*Parent window id: \(0x[0-9a-f]*\).*/\1/p') &&
  ! xwininfo -root | grep -q "$parent"; do
  frame=$parent
done
xwd -silent -id "$frame" | convert xwd:- -strip +dither -colors 255 -define png:compression-level=9 \
  docs/pictures/soundfont.png
ls -l docs/pictures/soundfont.png
