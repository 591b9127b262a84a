#!/usr/bin/env bash
# Installs what is missing, builds, packs the sample kit beside Setup.app and
# runs the installer on it with a temporary home directory. Without a display
# it starts Xvfb, walks through the wizard with xdotool and saves a screenshot
# of every page.
#   scripts/run-sample.sh [-L<code>]      (default: the system's language)
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

scripts/install-deps.sh
scripts/build.sh build -DCMAKE_BUILD_TYPE=RelWithDebInfo

# The sample kit, with a description per language from examples/sample.describe.
describe=()
while IFS=$'\t' read -r lang product vendor file; do
  [[ -z "$lang" || "$lang" == \#* ]] && continue
  describe+=(--describe "$lang" "$product" "$vendor" "$file")
done < examples/sample.describe
build/kittool pack "${describe[@]}" examples/sample build/mivo.efd
build/kittool list build/mivo.efd

run=$(mktemp -d /tmp/kitsetup-sample.XXXXXX)
mkdir -p "$run/home" "$run/tmp" "$run/screenshots"
export HOME="$run/home" TMPDIR="$run/tmp"
export LANG=${LANG:-C.UTF-8}

if [ -n "${DISPLAY:-}" ]; then
  echo "Starting the installer on $DISPLAY (home: $HOME)"
  build/Setup.app/Contents/MacOS/Setup "$@"
else
  scripts/walk-wizard.sh build "$run/screenshots" "$@"
  echo "Screenshots of every page: $run/screenshots"
fi
echo "Template directory after the run:"
find "$HOME" -path "$HOME/.mivo/*" -o -path "$HOME/.Vesk/*" | sort | sed "s|^$HOME|~|"
