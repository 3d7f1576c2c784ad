#!/usr/bin/env bash
# Builds VlQueryEngine with warnings as errors and runs all tests.
#
#   scripts/test.sh [--build-type TYPE] [--sanitize] [--build-dir DIR]
#
# --build-type   CMake build type (default Debug)
# --sanitize     build and test with AddressSanitizer and UndefinedBehaviorSanitizer
# --build-dir    where to build (default build-test-<type>[-sanitize] in the checkout)
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build_type=Debug
sanitize=OFF
build_dir=

while [ $# -gt 0 ]; do
  case "$1" in
    --build-type) build_type=${2:?--build-type needs a value}; shift 2 ;;
    --build-type=*) build_type=${1#*=}; shift ;;
    --sanitize) sanitize=ON; shift ;;
    --build-dir) build_dir=${2:?--build-dir needs a value}; shift 2 ;;
    --build-dir=*) build_dir=${1#*=}; shift ;;
    -h|--help) sed -n '2,9s/^# \{0,1\}//p' "$0"; exit 0 ;;
    *) echo "test.sh: unknown argument: $1" >&2; exit 2 ;;
  esac
done
if [ -z "$build_dir" ]; then
  build_dir="$root/build-test-${build_type,,}"
  [ "$sanitize" = ON ] && build_dir="$build_dir-sanitize"
fi

"$root/scripts/setup-deps.sh"

jobs=$(nproc 2>/dev/null || echo 2)
if [ "$sanitize" = ON ]; then
  export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1:strict_string_checks=1}
  export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
  # The random property tests take a shorter sample under the sanitizers.
  export VLQ_PROPERTY_QUERIES=${VLQ_PROPERTY_QUERIES:-500}
fi

cmake -S "$root" -B "$build_dir" -G Ninja \
  -DCMAKE_BUILD_TYPE="$build_type" -DVLQ_WERROR=ON -DVLQ_SANITIZE="$sanitize"
cmake --build "$build_dir" -j "$jobs"
# ctest starts the tests' PostgreSQL server and stops it after the last test;
# should ctest itself be stopped half way, the server goes here.
stop_test_server() {
  if [ -f "$build_dir/pg-test-dir" ]; then
    "$root/scripts/pg-test-server.sh" stop "$(cat "$build_dir/pg-test-dir")" || true
  fi
}
trap stop_test_server EXIT
ctest --test-dir "$build_dir" --output-on-failure -j "$jobs"
