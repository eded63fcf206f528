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
reproducible)
   # Nothing of where and when it was built is in what is installed.
   for file in "$library" "$prefix/bin/mavr"; do
      if grep -qF -e "$source" -e "$build" "$file"; then
         fail "$file names the folder it was built in: $(strings -a "$file" | grep -F -m 3 "$source")"
      fi
      readelf -n "$file" | grep -q 'Build ID: [0-9a-f]\{40\}$' || fail "$file has no build id made of its content"
   done
   if grep -rnE --include='*.cpp' --include='*.h' --include='*.c' --include='*.mm' '__(DATE|TIME|TIMESTAMP)__' \
      "$source"/{include,lib,libs,osal,pcoip_host,tools}; then
      fail "a source takes the time of its compilation"
   fi
   ;;
abi)
   "$source/script/abi" "$library"
   # The gate itself: a function that takes something else is a difference.
   mkdir -p "$work/script" "$work/cmake"
   cp "$source/script/abi" "$work/script/"
   ln -sfn "$source/include" "$work/include"
   sed "s/type-id='[0-9a-f]*' name='enabled'/type-id='$(sed -n "s/.*type-id='\([0-9a-f]*\)' name='count'.*/\1/p" \
      "$source/cmake/mavrCliLib.abi")' name='enabled'/" "$source/cmake/mavrCliLib.abi" >"$work/cmake/mavrCliLib.abi"
   if "$work/script/abi" "$library" >"$work/out" 2>&1; then
      fail "a changed function passes as the described one"
   fi
   grep -q "Mmdr_IsEnabled(MmdrHandle\*, uint32_t\*)" "$work/out" || fail "the change is not told: $(cat "$work/out")"
   ;;
deb)
   # The Debian packages, unpacked to a folder. script/packages installs them in a clean root and asks lintian.
   rm -rf "$work"
   cd "$source"
   cmake --preset package -B "$work/build" >/dev/null
   # Where things go differs from this build, what they are does not: nothing is compiled again.
   mkdir -p "$work/build/lib" "$work/build/bin" "$work/control"
   cp -a "$build"/lib/libmavrCliLib.so* "$work/build/lib/"
   cp -a "$build/bin/mavr" "$work/build/bin/"
   # As by someone who lets nobody else read: the packages are for all.
   umask 077
   cpack -B "$work/deb" --config "$work/build/CPackConfig.cmake" >/dev/null
   multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
   for package in "$work"/deb/*.deb; do
      ! dpkg-deb -c "$package" | grep -vE '^(drwxr-xr-x|-rwxr-xr-x|-rw-r--r--|lrwxrwxrwx) root/root ' || fail "modes in $package"
      dpkg-deb -x "$package" "$work/a root"
      dpkg-deb -e "$package" "$work/control/$(basename "${package%%_*}")"
   done
   [ "$(cd "$work/control" && echo *)" = "libmavrclilib-dev libmavrclilib2 mavr" ] || fail "packages: $(ls "$work/deb")"
   (cd "$work/a root" && cat "$work"/control/*/md5sums | md5sum --quiet -c) || fail "md5sums"
   [ -e "$work/a root/usr/lib/$multiarch/libmavrCliLib.so.2" ] || fail "the library is not in lib/$multiarch"
   version=$(dpkg-parsechangelog -l packaging/debian/changelog -S Version)
   for name in libmavrclilib-dev libmavrclilib2 mavr; do
      grep -qx "Version: $version" "$work/control/$name/control" || fail "$name is not version $version"
      for file in copyright changelog.gz changelog.Debian.gz; do
         [ -s "$work/a root/usr/share/doc/$name/$file" ] || fail "$name has no $file"
      done
   done
   grep -qxF "Depends: libmavrclilib2 (= $version)" "$work/control/libmavrclilib-dev/control" || fail "development's dependencies"
   for name in libmavrclilib2 mavr; do
      grep -q '^Depends: .*libc6 (>= .*libyuv0' "$work/control/$name/control" || fail "$name's dependencies: $(cat "$work/control/$name/control")"
   done
   # The list of symbols is that of the library, as a package that is built with it finds it.
   diff <(awk '/^ Mmdr_/ {sub("@Base", "", $1); print $1}' "$work/control/libmavrclilib2/symbols") \
      <(nm -D --defined-only "$library" | awk '{print $3}' | LC_ALL=C sort) || fail "the packages' list of symbols"
   grep -qx 'activate-noawait ldconfig' "$work/control/libmavrclilib2/triggers" || fail "the linker is not told"
   "$source/tests/package/consumers_test.sh" "$work/a root/usr" "$work/hosts"
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
