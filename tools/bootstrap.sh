#!/usr/bin/env bash
# Sets up a fresh Debian machine for tkstream63, builds it, and runs either the example host
# program ("run") or every test in the Debug, Release and sanitizer builds and the Windows COM
# server's tests under Wine ("test", what CI runs; those builds treat warnings as errors).
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(cmake g++ make libgtest-dev libbenchmark-dev clang libclang-rt-14-dev
          libcli11-dev python3-vtk9 libxml2-utils
          pybind11-dev python3-dev python3-numpy python3-pytest python3-matplotlib)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  sudo_cmd=""
  [ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
  $sudo_cmd apt-get update -qq || echo "apt-get update reported errors; installing anyway" >&2
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${missing[@]}" >/dev/null
fi

jobs=$(nproc 2>/dev/null || echo 2)
build() {  # build <dir> <build type> [cmake options...]
  local dir=$1 type=$2; shift 2
  echo "== $dir ($type $*)"
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE="$type" "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
}
test_in() {  # test_in <dir>: the whole suite of one build
  (cd "$1" && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
     ctest --output-on-failure -j "$jobs")
}

# The COM server tkstream63.dll, cross-built with MinGW-w64 (Release) and tested under Wine: 64-bit
# always, 32-bit when Debian's wine32:i386 could be installed. Wine runs headless in a prefix of
# the build's own; each test has a time limit (com/CMakeLists.txt).
com_tests() {
  bash tools/setup_windows_toolchain.sh
  local arch dir
  for arch in x86_64 i686; do
    if [ "$arch" = i686 ] && [ ! -x /usr/lib/wine/wine ]; then
      echo "== 32-bit COM tests skipped: $(cat build-cache/wine32-missing 2>/dev/null || echo 'wine32:i386 is not installed')"
      continue
    fi
    dir=build-com-$arch
    build "$dir" Release --toolchain "cmake/toolchains/mingw-$arch.cmake" -DTKSTREAM63_COM=ON \
      -DTKSTREAM63_WERROR=ON -DTKSTREAM63_NATIVE_RESAVE_STORE="$PWD/build-release/tools/resave_store"
    (cd "$dir" && ctest --output-on-failure)
  done
}

case "${1:-run}" in
  run)
    build build RelWithDebInfo -DTKSTREAM63_TESTS=OFF
    ./build/examples/field_viewer_example
    ;;
  test)
    # No benchmarks here: they are built and run on their own (README).
    for config in Debug Release; do
      dir=build-$(echo "$config" | tr '[:upper:]' '[:lower:]')
      build "$dir" "$config" -DTKSTREAM63_WERROR=ON -DTKSTREAM63_BENCH=OFF
      test_in "$dir"
    done
    build build-sanitize RelWithDebInfo -DTKSTREAM63_WERROR=ON -DTKSTREAM63_BENCH=OFF -DTKSTREAM63_SANITIZE=ON
    test_in build-sanitize
    com_tests
    ;;
  com-test)
    # The COM block of "test" alone; it needs the native Release build's resave_store.
    if [ ! -x build-release/tools/resave_store ]; then
      cmake -S . -B build-release -DCMAKE_BUILD_TYPE=Release -DTKSTREAM63_WERROR=ON -DTKSTREAM63_BENCH=OFF >/dev/null
      cmake --build build-release -j "$jobs" --target resave_store
    fi
    com_tests
    ;;
  *)
    echo "usage: $0 run|test|com-test" >&2
    exit 2
    ;;
esac
