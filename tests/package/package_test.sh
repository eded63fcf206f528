#!/usr/bin/env bash
# One check of the installed package:  package_test.sh CHECK BUILD SOURCE
# `install` comes first and lays the package out under BUILD/package; the others use it.
set -euo pipefail

check=$1 build=$2 source=$3
base=$build/package
prefix="$base/moved here"
library="$prefix/lib/libmavrCliLib.so.2"
export MAVR_OSAL=simulated XDG_CONFIG_HOME=$base/$check/config XDG_STATE_HOME=$base/$check/state

fail() {
   echo "package: $*" >&2
   exit 1
}

expect_host_output() {
   grep -q '^interface version 2$' "$1" || fail "no interface version: $(cat "$1")"
   grep -q '^cameras: 3$' "$1" || fail "not the three built-in cameras: $(cat "$1")"
   grep -q '^microphones: 2$' "$1" || fail "not the two built-in microphones: $(cat "$1")"
   grep -q '^preferred camera: none selected$' "$1" || fail "no word on the preferred camera: $(cat "$1")"
   grep -q '^redirection: on$' "$1" || fail "redirection is not on: $(cat "$1")"
}

work=$base/$check
case $check in
install)
   rm -rf "$base"
   cmake --install "$build" --prefix "$base/first" >/dev/null
   mv "$base/first" "$prefix"
   for file in lib/libmavrCliLib.so lib/libmavrCliLib.so.2 include/mmdr/mmdr.h bin/mavr \
      lib/cmake/mavrCliLib/mavrCliLibConfig.cmake lib/pkgconfig/mavrCliLib.pc share/man/man1/mavr.1 \
      share/bash-completion/completions/mavr share/zsh/site-functions/_mavr; do
      [ -e "$prefix/$file" ] || fail "$file is not installed"
   done
   if grep -rqI "$source" "$prefix"; then
      fail "the source folder's name is in $(grep -rlI "$source" "$prefix")"
   fi
   ;;
cmake)
   cmake -G Ninja -S "$source/examples" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
   cmake --build "$work/build" >/dev/null
   "$work/build/host" >"$work/out"
   expect_host_output "$work/out"
   ;;
pkgconfig)
   mkdir -p "$work"
   export PKG_CONFIG_PATH="$prefix/lib/pkgconfig"
   [ "$(pkg-config --modversion mavrCliLib)" = "$("$prefix/bin/mavr" --version | cut -d' ' -f2)" ] || fail "versions differ"
   # pkg-config escapes the blank in the prefix for a shell to read.
   eval "cc -std=c99 -Wall -Wextra -Wpedantic \"\$source/examples/host.c\" $(pkg-config --cflags --libs mavrCliLib) -o \"\$work/host\""
   LD_LIBRARY_PATH="$prefix/lib" "$work/host" >"$work/out"
   expect_host_output "$work/out"
   ;;
dlopen)
   mkdir -p "$work"
   cc -std=c99 -Wall -Wextra -Wpedantic -I"$prefix/include" "$source/examples/host_dlopen.c" -ldl -o "$work/host"
   [ "$("$work/host" "$library")" = "interface version 2, 3 cameras" ] || fail "wrong answer from the loaded library"
   ;;
symbols)
   wanted="Mmdr_EnumDevices Mmdr_GetAudioInSelectOption Mmdr_GetLibVersion Mmdr_GetPrefDev Mmdr_Init Mmdr_IsEnabled \
Mmdr_IsValid Mmdr_SetAudioInSelectOption Mmdr_SetPrefDev Mmdr_Uninit"
   found=$(nm -D --defined-only "$library" | awk '{print $3}' | LC_ALL=C sort | tr '\n' ' ')
   [ "$found" = "$wanted " ] || fail "exported: $found"
   readelf -d "$library" | grep -q 'SONAME.*\[libmavrCliLib\.so\.2\]' || fail "wrong SONAME"
   static=$(size -A "$library" | awk '$1 ~ /^\.(data|bss|tdata|tbss)$/ {sum += $2} END {print sum}')
   echo "static data: $static bytes"
   [ "$static" -lt $((512 * 1024)) ] || fail "static data of $static bytes"
   ;;
load)
   "$build/tests/load_probe" "$library"
   [ ! -e "$work" ] || fail "loading left $(find "$work")"
   ;;
tool)
   "$prefix/bin/mavr" devices --json | python3 -c '
import json, sys
devices = json.load(sys.stdin)
assert len(devices["cameras"]) == 3 and len(devices["microphones"]) == 2, devices'
   mandoc -T lint -W warning "$prefix/share/man/man1/mavr.1" || fail "the man page has faults"
   ;;
completion)
   # Man page and completions are those of the source, which are held against the installed tool's --help.
   cmp "$prefix/share/man/man1/mavr.1" "$source/tools/mavr/mavr.1"
   cmp "$prefix/share/bash-completion/completions/mavr" "$source/tools/mavr/completion/mavr.bash"
   cmp "$prefix/share/zsh/site-functions/_mavr" "$source/tools/mavr/completion/_mavr"
   python3 "$source/tests/tool/completion_test.py" "$prefix/bin/mavr" "$source/tools/mavr"
   zsh -n "$prefix/share/zsh/site-functions/_mavr" || fail "zsh completion does not parse"
   ;;
*)
   fail "no check called $check"
   ;;
esac
