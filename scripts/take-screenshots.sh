#!/usr/bin/env bash
# Takes the pictures of every wizard page and box in Russian, English, German,
# Georgian, Kazakh and Vietnamese for the user documentation, while the
# window test that walks every page in all twelve languages checks that each
# text fits its frame:
#   scripts/take-screenshots.sh [BUILD_DIR] [OUT_DIR]
# (defaults: build and docs/screenshots). Each picture is one window,
# <language>-<page>.png: welcome, destination, cancel (the question), progress,
# success, error (the error box) and failure. Needs Xvfb, xdotool and
# ImageMagick; takes a few minutes.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
out=${2:-$root/docs/screenshots}
[ -f "$build/build.ninja" ] || [ -f "$build/Makefile" ] || cmake -S "$root" -B "$build" -G Ninja
cmake --build "$build" -j2 --target e2e_tests
mkdir -p "$out"
out=$(cd "$out" && pwd)
KITSETUP_SCREENSHOT_DIR=$out "$build/tests/e2e/e2e_tests" --gtest_filter='Setup.EveryPageSpeaksEachLanguageAndFits'
ls "$out"
