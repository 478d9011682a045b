#!/usr/bin/env bash
# Sets up a fresh Debian machine for tkstream63, builds it, and runs either the example host
# program ("run") or every test in the normal and the sanitizer build ("test").
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(cmake g++ make libgtest-dev libbenchmark-dev clang libclang-rt-14-dev
          pybind11-dev python3-dev python3-numpy python3-pytest python3-matplotlib)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  sudo_cmd=""
  [ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${missing[@]}" >/dev/null
fi

jobs=$(nproc 2>/dev/null || echo 2)
build() {  # build <dir> [cmake options...]
  local dir=$1; shift
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
}

case "${1:-run}" in
  run)
    build build -DTKSTREAM63_TESTS=OFF
    ./build/examples/field_viewer_example
    ;;
  test)
    build build
    (cd build && ctest --output-on-failure -j "$jobs")
    build build-sanitize -DTKSTREAM63_SANITIZE=ON
    (cd build-sanitize && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
       ctest --output-on-failure -j "$jobs")
    ;;
  *)
    echo "usage: $0 run|test" >&2
    exit 2
    ;;
esac
