#!/usr/bin/env bash
# Installs what the Windows COM build needs on a Debian machine: the MinGW-w64 cross compilers
# (64- and 32-bit), widl, Wine (64- and 32-bit) to run the DLL and its tests, Xvfb and xdotool
# for the dialog test, and Wine's Windows .idl headers, which widl needs but no installed
# package puts on disk (they live in libwine-dev, unpacked into build-cache/ instead of
# installed, so the native build keeps its own headers).
set -euo pipefail
cd "$(dirname "$0")/.."

sudo_cmd=""
[ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
apt_install() {
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -o DPkg::Lock::Timeout=900 -y -qq --no-install-recommends "$@" >/dev/null
}

missing_of() {  # prints the packages of the list that are not installed
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || echo "$p"
  done
}
packages=(g++-mingw-w64-x86-64 g++-mingw-w64-i686 mingw-w64-tools wine wine64 xvfb xdotool
          imagemagick)
# 32-bit Wine, for testing the 32-bit DLL; it needs the i386 architecture.
packages32=(wine32:i386)
mkdir -p build-cache
reason_file=build-cache/wine32-missing  # why 32-bit Wine is missing, for the test command to say
mapfile -t missing < <(missing_of "${packages[@]}" "${packages32[@]}")
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  if ! dpkg --print-foreign-architectures | grep -qx i386; then
    $sudo_cmd dpkg --add-architecture i386
  fi
  # A mirror caught mid-sync fails one index now and then; the others still serve.
  update_log=$(mktemp)
  $sudo_cmd apt-get -o DPkg::Lock::Timeout=900 update -qq >"$update_log" 2>&1 ||
    echo "apt-get update reported errors; installing anyway" >&2
  mapfile -t missing < <(missing_of "${packages[@]}")
  [ ${#missing[@]} -eq 0 ] || apt_install "${missing[@]}"
  # Without 32-bit Wine the 32-bit tests are skipped (and say so); everything else still runs.
  install_log=$(mktemp)
  if apt_install "${packages32[@]}" 2>"$install_log"; then
    rm -f "$reason_file"
  else
    first_error=$(grep -h '^E:' "$update_log" "$install_log" | head -n 1 | sed 's/ *\[IP:[^]]*\]//' | cut -c1-200)
    echo "wine32:i386 could not be installed (${first_error:-apt-get install failed})" >"$reason_file"
    echo "32-bit Wine could not be installed; 32-bit tests will be skipped" >&2
  fi
  rm -f "$update_log" "$install_log"
fi

# Wine's Windows .idl headers for widl (oaidl.idl, ocidl.idl, ...).
cache=build-cache/wine-idl
if [ ! -f "$cache/usr/include/wine/wine/windows/oaidl.idl" ]; then
  mkdir -p "$cache"
  tmp=$(mktemp -d)
  (cd "$tmp" && apt-get download -qq libwine-dev >/dev/null)
  dpkg-deb -x "$tmp"/libwine-dev_*.deb "$cache"
  rm -rf "$tmp"
fi
