#!/usr/bin/env bash
# Builds vlquery, makes the demo project and runs a few queries on it.
#
#   scripts/demo.sh [REQUIREMENTS]     (default 2000)
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
requirements=${1:-2000}
build_dir="$root/build-demo"

"$root/scripts/setup-deps.sh"

jobs=$(nproc 2>/dev/null || echo 2)
mkdir -p "$build_dir"
log="$build_dir/build.log"
echo "Building vlquery in $build_dir (log: $log)"
if ! { cmake -S "$root" -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=Release \
         -DVLQ_BUILD_TESTS=OFF -DVLQ_BUILD_BENCH=OFF &&
       cmake --build "$build_dir" -j "$jobs" --target vlquery; } > "$log" 2>&1; then
  cat "$log" >&2
  echo "demo.sh: the build failed" >&2
  exit 1
fi

vlquery="$build_dir/vlquery"
demo_dir="$build_dir/demo"
mkdir -p "$demo_dir"
cd "$demo_dir"
rm -f demo.vlp demo.vlp-wal demo.vlp-shm demo-ext.vlp demo-ext.vlp-wal demo-ext.vlp-shm

# Shows a command line as one would type it: arguments with blanks or shell
# characters in single quotes (the demo's queries hold none of their own).
shown() {
  local out="\$ vlquery" arg
  for arg in "$@"; do
    if [[ "$arg" =~ ^[A-Za-z0-9_./=:-]+$ ]]; then
      out+=" $arg"
    else
      out+=" '$arg'"
    fi
  done
  printf '%s\n' "$out"
}

# Runs one command of the tool and shows at most ten lines of its output.
show() {
  echo
  shown "$@"
  local output lines
  output=$("$vlquery" "$@")
  lines=$(printf '%s' "$output" | grep -c '' || true)
  printf '%s\n' "$output" | head -n 10
  if [ "$lines" -gt 10 ]; then
    echo "... ($lines lines)"
  fi
}

echo "Demo project in $demo_dir"
show demo demo.vlp --requirements "$requirements" --seed 1
show fetch demo.vlp 'ReqType.Prefix(PR) PR.Criteria(Priority = High) PR.Sort(Name Order Asc)'
show fetch demo.vlp 'COUNT ReqType.Prefix(SR) SR.Criteria(Components In Security, Storage AND Risk >= 8)'
show fetch demo.vlp 'ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In FEAT AND STATUS = "SUSPECT")'
show fetch demo.vlp 'REQUIREMENT.Criteria(Text Like "%log%") REQUIREMENT.Sort(Name Order Desc)'
show fetch demo.vlp 'ReqType.Prefix(EXT.PR) EXT.PR.Criteria(Priority = High)'
show fetch demo.vlp --hierarchy 'ReqType.Prefix(FEAT) FEAT.Criteria(Difficulty = 5)'
show fetch demo.vlp --discussions 'DISCUSSION.Criteria(Subject Like "%log%") DISCUSSION.Sort(SubmitDate Order Desc)'
show build demo.vlp 'ReqType.Prefix(PR) PR.Criteria(Priority = High) PR.Sort(Name Order Asc)'
show sql demo.vlp --dialect oracle --schema PROJ1 'ReqType.Prefix(PR) PR.Criteria(Priority = High)'
