#!/usr/bin/env bash
# Breaks the code on purpose, one fault at a time, and records which tests
# notice. By hand, not in CI: a full sweep takes a long time.
#
#   scripts/fault-sweep.sh [options]
#     --faults FILE    the fault list (default scripts/faults.txt; its format is
#                      described at its top)
#     --only REGEX     only the faults whose id matches (grep -E)
#     --window MODE    when the window tests (ctest label "window") run:
#                      ui (default: for faults in ui/ only), all, none
#     --first          stop each run at its first failing test (faster; the
#                      report then names only the tests that failed first)
#     --limit SECONDS  time limit of one fault's test run (default 900)
#     --report FILE    where the report goes (default fault-sweep-report.txt)
#     --check          only check that every fault's text occurs exactly once
#
# The checkout's tracked files (with their uncommitted changes) are copied to a
# scratch folder, built once (Debug, no sanitizers, the window included, with
# ccache), and then each fault is applied, built incrementally, tested with
# `ctest -j2`, and reverted. A fault is "caught" when a test fails, "missed"
# when all pass, "build-broken" when it does not compile, "stale" when its old
# text is not found exactly once. Ctrl-C reverts, removes the scratch copy and
# keeps the report written so far.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

faults=$root/scripts/faults.txt
only=
window=ui
first=
limit=900
report=$root/fault-sweep-report.txt
check_only=
while [ $# -gt 0 ]; do
  case $1 in
    --faults) faults=$(realpath "$2"); shift 2 ;;
    --only) only=$2; shift 2 ;;
    --window) window=$2; shift 2 ;;
    --first) first=1; shift ;;
    --limit) limit=$2; shift 2 ;;
    --report) report=$(realpath -m "$2"); shift 2 ;;
    --check) check_only=1; shift ;;
    -h|--help) sed -n '2,25p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "fault-sweep: unknown option $1" >&2; exit 2 ;;
  esac
done
case $window in ui|all|none) ;; *) echo "fault-sweep: --window is ui, all or none" >&2; exit 2 ;; esac

# The fault list reader: `ids` prints "ID PATH" per fault; `apply ID DIR`
# applies one fault in DIR (exit 3 when stale); `what ID` prints its line.
fault_tool() {
  python3 - "$faults" "$@" <<'PYTHON'
import sys

def read(path):
    faults, current, seen = [], None, set()
    for number, line in enumerate(open(path, encoding="utf-8").read().split("\n"), 1):
        if line.startswith("== "):
            parts = line[3:].split()
            if len(parts) != 2 or parts[0] in seen:
                sys.exit(f"{path}:{number}: want '== ID PATH' with a new ID")
            seen.add(parts[0])
            current = {"id": parts[0], "path": parts[1], "what": "", "old": [], "new": []}
            faults.append(current)
        elif current is None or line.strip() == "":
            current = None if line.strip() == "" else current
        elif line.startswith("#"):
            current["what"] = current["what"] or line[1:].strip()
        elif line[:1] in "-+" and (len(line) == 1 or line[1] == " "):
            current["old" if line[0] == "-" else "new"].append(line[2:])
        else:
            sys.exit(f"{path}:{number}: a fault line starts with '#', '- ' or '+ '")
    for f in faults:
        if not f["old"]:
            sys.exit(f"{path}: fault {f['id']} has no old text")
    return faults

faults = read(sys.argv[1])
command = sys.argv[2]
if command == "ids":
    for f in faults:
        print(f["id"], f["path"])
    sys.exit(0)
fault = next(f for f in faults if f["id"] == sys.argv[3])
if command == "what":
    print(fault["what"])
elif command in ("apply", "count"):
    target = sys.argv[4] + "/" + fault["path"]
    try:
        text = open(target, encoding="utf-8").read()
    except OSError:
        sys.exit(3)
    old, new = "\n".join(fault["old"]), "\n".join(fault["new"])
    if text.count(old) != 1:
        sys.exit(3)
    if command == "apply":
        open(target, "w", encoding="utf-8").write(text.replace(old, new, 1))
PYTHON
}

mapfile -t rows < <(fault_tool ids)
selected=()
for row in "${rows[@]}"; do
  id=${row%% *}
  if [ -z "$only" ] || grep -Eq -- "$only" <<<"$id"; then selected+=("$row"); fi
done

if [ -n "$check_only" ]; then
  stale=0
  for row in "${selected[@]}"; do
    if ! fault_tool count "${row%% *}" "$root"; then echo "stale: $row"; stale=$((stale + 1)); fi
  done
  echo "${#selected[@]} faults, $stale stale"
  [ "$stale" -eq 0 ]
  exit
fi

scratch=$(mktemp -d /tmp/kitsetup-sweep.XXXXXX)
build=$scratch/build
# The sweep reads its own copy of the list: the checkout may change meanwhile.
cp "$faults" "$scratch/faults.txt"
faults=$scratch/faults.txt
applied=   # "ID PATH" of the fault in place, if any

revert() {
  [ -n "$applied" ] || return 0
  local path=${applied#* }
  # From the scratch copy's own original, never from the checkout, which may
  # change while the sweep runs. A plain copy, not -p: the new time makes the
  # next build recompile it.
  cp "$scratch/original" "$scratch/src/$path"
  applied=
}
cleanup() {
  revert || true
  rm -rf "$scratch"
}
trap cleanup EXIT
trap 'echo; echo "fault-sweep: interrupted; the report so far is in $report" >&2; exit 130' INT TERM HUP

echo "== copying the checkout to $scratch/src"
mkdir -p "$scratch/src"
# Tracked and new (not ignored) files, as they stand; a tracked file deleted
# in the work tree is left out.
git ls-files -z --cached --others --exclude-standard |
  while IFS= read -r -d '' file; do [ -e "$file" ] || [ -L "$file" ] && printf '%s\0' "$file"; done |
  xargs -0 -r cp -P --parents -t "$scratch/src"

export CCACHE_BASEDIR=$scratch
export LSAN_OPTIONS= UBSAN_OPTIONS= ASAN_OPTIONS=
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache
            -DCMAKE_OBJCXX_COMPILER_LAUNCHER=ccache)
fi
echo "== building once (Debug)"
start=$(date +%s)
nice cmake -S "$scratch/src" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKITSETUP_BENCH=OFF \
  "${launcher[@]}" >/dev/null
nice cmake --build "$build" -j "$(nproc)" >"$scratch/build.log" 2>&1 || {
  tail -n 30 "$scratch/build.log"; echo "fault-sweep: the unbroken checkout does not build" >&2; exit 1; }
echo "   built in $(( $(date +%s) - start )) s"

# Runs the suite; prints the failing tests' names, one a line. Exit 0 when
# everything passed, 1 when something failed, 124 when the time ran out.
run_suite() {
  # 120 s a test: four times the slowest test under the sanitizers, so a
  # fault that makes a test hang costs two minutes, not five.
  local with_window=$1 log=$2 args=(-j 2 --timeout 120 --output-on-failure)
  [ "$with_window" = yes ] || args+=(-LE window)
  [ -z "$first" ] || args+=(--stop-on-failure)
  local status=0
  (cd "$build" && nice timeout --kill-after=30 "$limit" ctest "${args[@]}") >"$log" 2>&1 || status=$?
  # "The following tests FAILED:" lists "<tab> 12 - Name  # GetParam() = ... (Failed)".
  sed -En '/tests FAILED:/,$ s/^[[:space:]]+[0-9]+ - ([^ ]+).* \([^()]+\)$/\1/p' "$log"
  if [ "$status" -eq 124 ] || [ "$status" -eq 137 ]; then return 124; fi
  return $(( status != 0 ))
}

echo "== the unbroken suite"
if ! run_suite "$([ "$window" = none ] && echo no || echo yes)" "$scratch/baseline.log" >/dev/null; then
  grep -A30 "tests failed" "$scratch/baseline.log" | head -n 30
  echo "fault-sweep: the suite fails without any fault; fix that first" >&2
  exit 1
fi

{
  echo "# fault sweep of $(git rev-parse --short HEAD)$(git diff --quiet HEAD || echo ' (with uncommitted changes)'), $(date -u +%Y-%m-%dT%H:%MZ)"
  echo "# window tests: $window; --first: ${first:-no}"
  echo "# RESULT ID SECONDS: WHAT [failing tests]"
} >"$report"
declare -A count=([caught]=0 [missed]=0 [stale]=0 [build-broken]=0 [timeout]=0)
missed_list=()
n=0
for row in "${selected[@]}"; do
  n=$((n + 1))
  id=${row%% *}
  path=${row#* }
  what=$(fault_tool what "$id")
  t0=$(date +%s)
  failing=
  [ ! -f "$scratch/src/$path" ] || cp "$scratch/src/$path" "$scratch/original"
  if ! fault_tool apply "$id" "$scratch/src"; then
    result=stale
  else
    applied=$row
    if ! nice cmake --build "$build" -j "$(nproc)" >"$scratch/fault.log" 2>&1; then
      result=build-broken
    else
      with_window=no
      if [ "$window" = all ] || { [ "$window" = ui ] && [[ $path == ui/* ]]; }; then with_window=yes; fi
      status=0
      failing=$(run_suite "$with_window" "$scratch/fault.log") || status=$?
      case $status in
        0) result=missed ;;
        124) result=timeout ;;
        *) result=caught ;;
      esac
    fi
    revert
  fi
  count[$result]=$(( ${count[$result]} + 1 ))
  [ "$result" != missed ] || missed_list+=("$id")
  seconds=$(( $(date +%s) - t0 ))
  line="$result $id ${seconds}s: $what"
  # How many tests ran, so that a "missed" can be told from a run that ran nothing.
  if [ "$result" = caught ] || [ "$result" = missed ]; then
    ran=$(grep -Eo '[0-9]+ tests failed out of [0-9]+' "$scratch/fault.log" | tail -n 1 || true)
    [ -z "$ran" ] || line+=" ($ran)"
  fi
  [ -z "$failing" ] || line+=" [$(echo "$failing" | paste -sd ' ')]"
  echo "$line" >>"$report"
  printf '%3d/%d %-12s %s (%ss)\n' "$n" "${#selected[@]}" "$result" "$id" "$seconds"
done

summary="caught ${count[caught]} / missed ${count[missed]} / stale ${count[stale]} / build-broken ${count[build-broken]} / timeout ${count[timeout]} (of ${#selected[@]})"
{
  echo "# $summary"
  [ ${#missed_list[@]} -eq 0 ] || echo "# missed: ${missed_list[*]}"
} >>"$report"
echo "== $summary"
[ ${#missed_list[@]} -eq 0 ] || echo "   missed: ${missed_list[*]}"
echo "   report: $report"
