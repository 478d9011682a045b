#!/usr/bin/env bash
# Runs one COM test step under Wine in the build's own Wine prefix.
#   wine_test.sh <wine> <prefix> <dll> setup            new prefix (~30 s)
#   wine_test.sh <wine> <prefix> <dll> shutdown         ends the prefix's server and services
#   wine_test.sh <wine> <prefix> <dll> registration     register/unregister checks; ends registered
#   wine_test.sh <wine> <prefix> <dll> run <program> [args...]
#   wine_test.sh <wine> <prefix> <dll> script <file.vbs|file.js>
#   wine_test.sh <wine> <prefix> <dll> dialog <dialog_test.vbs> <screenshot.png>
#                  the duplicate-name dialog under Xvfb, answered with xdotool
#   wine_test.sh <wine> <prefix> <dll> files <client.exe> <native resave_store>
#                  store files cross between the DLL and the native build, and the same store
#                  gives the same bytes from both
# Programs and scripts print "N passed, N failed"; a run without that line fails, because Wine's
# cscript ends with status 0 even when a script stops on an error.
set -uo pipefail
wine=$1 prefix=$2 dll=$3 step=$4
shift 4
# Headless and without questions: no display (a test that needs one starts its own), no offer to
# install Mono or Gecko.
export WINEPREFIX=$prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" WINEDLLPATH=
unset DISPLAY WAYLAND_DISPLAY
# Wine starts services that outlive the program and keep its output open, so output goes through
# a file: a pipe would stay open (and its reader waiting) until they end.
scratch=$(mktemp)
trap 'rm -f "$scratch"' EXIT
wine_out() {
  "$wine" "$@" >"$scratch" 2>&1 </dev/null
  local status=$?
  tr -d '\r' <"$scratch"
  return $status
}
windows_path() { local p; p=$(readlink -f "$1"); echo "Z:${p//\//\\}"; }
dll_win=$(windows_path "$dll")

# Prints the value of a registry key's value, or nothing when the key is missing.
reg_value() {  # reg_value <key> [value-name]
  local args=(query "$1")
  if [ $# -gt 1 ]; then args+=(/v "$2"); else args+=(/ve); fi
  wine_out reg "${args[@]}" | awk 'NF>=3 && $2 ~ /^REG_/ {sub(/^[^R]*REG_[A-Z_]+ +/, ""); print; exit}'
}

check() {  # check <description> <command...>
  local what=$1; shift
  if "$@"; then passed=$((passed + 1)); else failed=$((failed + 1)); echo "FAILED: $what"; fi
}
passed=0 failed=0

registration_keys() {  # registration_keys <root> present|absent
  local root=$1 want=$2
  local clsid='{F4C8A4E8-41DA-42FA-AA37-F35D609905A4}'
  local server threading progid typelib
  server=$(reg_value "$root\\Software\\Classes\\CLSID\\$clsid\\InprocServer32")
  threading=$(reg_value "$root\\Software\\Classes\\CLSID\\$clsid\\InprocServer32" ThreadingModel)
  progid=$(reg_value "$root\\Software\\Classes\\tk174StreamStorage.rvStreamStore\\CLSID")
  local library='Software\\Classes\\TypeLib\\{E2AC70F9-A54D-49ED-B15C-970D93AF3DD9}\\6.3'
  typelib=$(reg_value "$root\\$library")
  # Wine's RegisterTypeLibForUser writes to the machine's keys (Windows writes to the user's).
  [ -n "$typelib" ] || [ "$root" != HKCU ] || typelib=$(reg_value "HKLM\\$library")
  if [ "$want" = present ]; then
    check "$root: InprocServer32 is the DLL ($server)" test "${server,,}" = "${dll_win,,}"
    check "$root: ThreadingModel Apartment ($threading)" test "$threading" = Apartment
    check "$root: ProgID tk174StreamStorage.rvStreamStore ($progid)" test "$progid" = '{858029C7-25C8-42A1-BA28-5EA17AD169F0}'
    check "$root: type library registered ($typelib)" test -n "$typelib"
  else
    check "$root: class keys removed" test -z "$server$threading$progid"
    check "$root: type library unregistered" test -z "$typelib"
  fi
}

case $step in
  setup)
    "${wine%/*}/wineserver" -k 2>/dev/null  # a server left over from an earlier run
    rm -rf "$prefix"
    wine_out wineboot -i >/dev/null
    # One server for all the steps instead of one per program (each start costs seconds).
    "${wine%/*}/wineserver" -w
    "${wine%/*}/wineserver" -p >/dev/null 2>&1 </dev/null
    exit 0
    ;;
  shutdown)
    "${wine%/*}/wineserver" -k 2>/dev/null; exit 0
    ;;
  registration)
    wine_out regsvr32 /s /u /n /i:user "$dll_win"
    wine_out regsvr32 /s "$dll_win"; check "regsvr32 (per machine) succeeds" test $? -eq 0
    registration_keys HKLM present
    wine_out regsvr32 /s /u "$dll_win"; check "regsvr32 /u succeeds" test $? -eq 0
    registration_keys HKLM absent
    wine_out regsvr32 /s /n /i:user "$dll_win"; check "regsvr32 /n /i:user succeeds" test $? -eq 0
    registration_keys HKCU present
    wine_out regsvr32 /s /u /n /i:user "$dll_win"; check "regsvr32 /u /n /i:user succeeds" test $? -eq 0
    registration_keys HKCU absent
    # The other tests use the machine's registration: Wine's COM does not look in the user's keys.
    wine_out regsvr32 /s "$dll_win"
    echo "$passed passed, $failed failed"
    [ "$failed" -eq 0 ]
    ;;
  run)
    program=$1; shift
    output=$(wine_out "$program" "$@"); status=$?
    echo "$output"
    [ $status -eq 0 ] && grep -qE '^[0-9]+ passed, 0 failed$' <<<"$output"
    ;;
  script)
    output=$(wine_out cscript //nologo "$(windows_path "$1")"); status=$?
    echo "$output"
    [ $status -eq 0 ] && grep -qE '^[0-9]+ passed, 0 failed$' <<<"$output"
    ;;
  dialog)
    # The library's own duplicate-name dialog on a virtual display, answered from the keyboard:
    # each key must leave the store as its button says. Exit 77 (skipped) without a display.
    script=$(windows_path "$1") screenshot=$2
    command -v Xvfb >/dev/null && command -v xdotool >/dev/null ||
      { echo "SKIPPED: Xvfb or xdotool is not installed"; exit 77; }
    display_file=$(mktemp)
    Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$display_file" >/dev/null 2>&1 &
    xvfb=$!
    trap 'kill $xvfb 2>/dev/null; rm -f "$scratch" "$display_file"' EXIT
    for _ in $(seq 50); do [ -s "$display_file" ] && break; sleep 0.2; done
    [ -s "$display_file" ] || { echo "SKIPPED: Xvfb could not start a display"; exit 77; }
    export DISPLAY=:$(head -n 1 "$display_file")
    rm -f "$screenshot"
    # One round: start the script, wait for the dialog, take the screenshot once, give the key
    # time to reach a window that has just been drawn, and report the script's own verdict.
    dialog_round() {  # dialog_round <key> <button>
      local key=$1 button=$2 output_file client window output
      output_file=$(mktemp)
      "$wine" cscript //nologo "$script" "$button" >"$output_file" 2>&1 </dev/null &
      client=$!
      window=$(timeout 60 xdotool search --sync --onlyvisible --name '^Duplicate Name$' | head -n 1)
      if [ -n "$window" ]; then
        [ -s "$screenshot" ] || import -window "$window" "$screenshot" 2>/dev/null
        sleep 1
        xdotool windowfocus --sync "$window" 2>/dev/null; xdotool key "$key"
      fi
      # A dialog that never showed or did not take the key leaves the script waiting: end it.
      for _ in $(seq 150); do kill -0 "$client" 2>/dev/null || break; sleep 0.2; done
      kill "$client" 2>/dev/null && echo "the dialog did not answer $key"
      wait "$client"
      output=$(tr -d '\r' <"$output_file"); rm -f "$output_file"
      echo "$key: $output"
      grep -qE '^[0-9]+ passed, 0 failed$' <<<"$output"
    }
    # key, then the button it presses (0: the box closed); accelerators go to the first button
    # with that letter. A key lost while a fresh virtual display settles gets one more round.
    for answer in "alt+r 2" "alt+c 3" "Escape 0"; do
      read -r key button <<<"$answer"
      check "$key presses button $button" eval 'dialog_round "$key" "$button" || dialog_round "$key" "$button"'
    done
    check "a screenshot of the dialog ($screenshot)" test -s "$screenshot"
    echo "$passed passed, $failed failed"
    [ "$failed" -eq 0 ]
    ;;
  files)
    # Each build loads a file and writes the store it got: both must write the same bytes.
    client=$1 native=$2
    work=$(mktemp -d)
    w=$(windows_path "$work")
    wine_out "$client" save "$w\\dll.bin" >/dev/null
    check "the DLL writes the five-spot store" test -s "$work/dll.bin"
    "$native" "$work/dll.bin" "$work/native1.bin" >/dev/null
    check "the native build reads the DLL's file" test -s "$work/native1.bin"
    wine_out "$client" resave "$w\\dll.bin" "$w\\dll1.bin" >/dev/null
    check "the same store gives the same bytes from both builds" cmp -s "$work/native1.bin" "$work/dll1.bin"
    wine_out "$client" resave "$w\\native1.bin" "$w\\dll2.bin" >/dev/null
    check "the DLL reads the native build's file" test -s "$work/dll2.bin"
    "$native" "$work/native1.bin" "$work/native2.bin" >/dev/null
    check "and writes the bytes the native build writes" cmp -s "$work/native2.bin" "$work/dll2.bin"
    rm -rf "$work"
    echo "$passed passed, $failed failed"
    [ "$failed" -eq 0 ]
    ;;
  *)
    echo "unknown step $step" >&2
    exit 2
    ;;
esac
