#!/usr/bin/env bash
# Prints the share of test lines against code lines: non-blank lines (a line
# with at least one non-space character) of the files git tracks.
#
#   tests: tests/, its .cpp .h .mm sources and its .sh .py scripts (unit,
#          kittool and window tests, the fuzzers, the fixture generator).
#   code:  core/ launcher/ kit/ install/ app/ ui/ tools/, their .cpp .h .mm.
#
# Not counted: CMake files, fixtures and corpora (tests/data, tests/fuzz/corpus
# beyond the generator), docs, bench/, and generated tables (*.inc, such as
# install/name_fold_table.inc, which scripts/gen_name_fold_table.py writes
# from Unicode data: nobody writes or reviews those lines). The hand-written
# message table core/message_texts.cpp is code and counts.
#
# scripts/test-share.sh [REVISION]   counts a commit instead of the work tree
set -euo pipefail
cd "$(dirname "$0")/.."
rev=${1:-}

# Lists the tracked files under the given folders whose names end in one of
# the extensions in $exts.
files() {
  if [ -n "$rev" ]; then
    git ls-tree -r --name-only "$rev" -- "$@"
  else
    git ls-files -- "$@"
  fi | grep -E "\\.(${exts})\$" || true
}

nonblank() {
  local total=0 n f
  while IFS= read -r f; do
    if [ -n "$rev" ]; then
      n=$(git show "$rev:$f" | grep -c '[^[:space:]]' || true)
    else
      n=$(grep -c '[^[:space:]]' "$f" || true)
    fi
    total=$((total + n))
  done
  echo "$total"
}

exts='cpp|h|mm|sh|py'
test_lines=$(files tests | nonblank)
exts='cpp|h|mm'
code_lines=$(files core launcher kit install app ui tools | nonblank)

echo "test lines: $test_lines"
echo "code lines: $code_lines"
awk -v t="$test_lines" -v c="$code_lines" 'BEGIN { printf "ratio: %.2f\n", (c ? t / c : 0) }'
