#!/usr/bin/env bash
# Walks through the installer's wizard as a person would, in a virtual X
# display, and saves a screenshot of every page:
#   scripts/walk-wizard.sh BUILD_DIR SCREENSHOT_DIR [Setup arguments...]
# The kit must lie beside BUILD_DIR/Setup.app; HOME and TMPDIR are the
# caller's. Exits with Setup's status, or 1 when a page did not appear.
set -euo pipefail
build=$1 shots=$2
shift 2
mkdir -p "$shots"

display=
for n in $(seq 90 140); do
  [ -e "/tmp/.X11-unix/X$n" ] || [ -e "/tmp/.X$n-lock" ] || { display=":$n"; break; }
done
[ -n "$display" ] || { echo "walk-wizard: no free display number" >&2; exit 1; }
Xvfb "$display" -screen 0 1024x768x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
log=$(mktemp)
setup=
cleanup() {
  [ -n "$setup" ] && kill "$setup" 2>/dev/null || true
  kill "$xvfb" 2>/dev/null || true
  rm -f "$log"
}
trap cleanup EXIT
export DISPLAY=$display
for _ in $(seq 50); do xdpyinfo >/dev/null 2>&1 && break; sleep 0.1; done

"$build/Setup.app/Contents/MacOS/Setup" "$@" 2> >(tee "$log" | grep --line-buffered '^kitsetup: ' >&2) &
setup=$!

wait_log() {  # wait_log PATTERN [SECONDS]
  local end=$((SECONDS + ${2:-30}))
  until grep -qE "^kitsetup: $1" "$log"; do
    kill -0 "$setup" 2>/dev/null || { grep -qE "^kitsetup: $1" "$log" && return 0; echo "walk-wizard: Setup ended before '$1'" >&2; return 1; }
    [ $SECONDS -lt $end ] || { echo "walk-wizard: no '$1' within ${2:-30} s" >&2; return 1; }
    sleep 0.1
  done
}
shot() { sleep "${2:-0.5}"; import -window root "$shots/$1.png"; echo "  $shots/$1.png"; }

# The wizard's window is the visible 500 x 360 one.
window_origin() {
  local id
  for id in $(xdotool search --onlyvisible --name '.*' 2>/dev/null); do
    eval "$(xdotool getwindowgeometry --shell "$id")"
    if [ "$WIDTH" = 500 ] && [ "$HEIGHT" = 360 ]; then echo "$X $Y"; return 0; fi
  done
  return 1
}
click_next() {  # the Next (Finish) button: 310,320 80x30 in the window
  local x y
  read -r x y < <(window_origin)
  xdotool mousemove $((x + 350)) $((y + 335)) mousedown 1
  sleep 0.2
  xdotool mouseup 1
}

if ! wait_log 'page welcome'; then
  # A refusal before the wizard: show it, answer it.
  if grep -q '^kitsetup: message' "$log"; then shot 0-message; xdotool key Return; fi
  wait "$setup"; exit 1
fi
shot 1-welcome
click_next
wait_log 'page destination'
shot 2-destination
click_next
wait_log 'page progress'
shot 3-progress 0
wait_log 'page (success|failure)' 600
page=$(grep -oE 'page (success|failure)' "$log" | tail -n 1 | cut -d' ' -f2)
shot "4-$page"
click_next
status=0
wait "$setup" || status=$?
setup=
exit $status
