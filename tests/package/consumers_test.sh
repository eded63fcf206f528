#!/usr/bin/env bash
# Three hosts and the tool on installed packages:  consumers_test.sh PREFIX WORK
# PREFIX is /usr, or a folder that the packages' /usr was unpacked to. Needs bash, cc, c++, cmake, make and pkg-config,
# no more, so that it runs in a bare root; the folder consumer/ lies beside this script.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
prefix=$1 work=$2
libraries=$(dirname "$(find "$prefix/lib" -name libmavrCliLib.so.2)")
examples=$prefix/share/doc/libmavrclilib-dev/examples
mkdir -p "$work/make"
export MAVR_OSAL=simulated XDG_CONFIG_HOME=$work/config XDG_STATE_HOME=$work/state
if [ "$prefix" != /usr ]; then
   export LD_LIBRARY_PATH=$libraries PKG_CONFIG_PATH=$libraries/pkgconfig CMAKE_PREFIX_PATH=$prefix
fi

# expect WANTED FOUND WHAT
expect() {
   [ "$1" = "$2" ] || {
      printf 'consumers: %s\nwanted: %s\nfound:  %s\n' "$3" "$1" "$2" >&2
      exit 1
   }
   echo "consumers: $3: good"
}

cmake -S "$here/consumer" -B "$work/cmake" >/dev/null
cmake --build "$work/cmake" >/dev/null
expect "interface version 2, 3 cameras" "$("$work/cmake/consumer")" "C++ host by CMake"

cp "$examples/host.c" "$here/consumer/Makefile" "$work/make/"
make -s -C "$work/make"
expect "interface version 2 cameras: 3 microphones: 2" \
   "$("$work/make/host" | grep -E '^(interface|cameras|microphones)' | tr '\n' ' ' | sed 's/ $//')" "C host by pkg-config and make"

cc -std=c99 -Wall -Wextra -Wpedantic -I"$prefix/include" "$examples/host_dlopen.c" -ldl -o "$work/host_dlopen"
expect "interface version 2, 3 cameras" "$("$work/host_dlopen" libmavrCliLib.so.2)" "C host by dlopen"

expect "mavr $(pkg-config --modversion mavrCliLib)" "$("$prefix/bin/mavr" --version)" "tool and library of one version"
expect 5 "$("$prefix/bin/mavr" devices | grep -c '#sim-')" "mavr devices"
"$prefix/bin/mavr" doctor >"$work/doctor" || {
   cat "$work/doctor" >&2
   exit 1
}
echo "consumers: mavr doctor: good"
