#!/usr/bin/env bash
# Installs the built tree into a fresh prefix and starts the installed programs with no library path set:
# each must find the library installed beside it, not the one in the build tree. Their run path must be the
# one given: the library folder relative to the program, then the configured library folder, which is what a
# program given capabilities (setcap) uses, since the loader ignores relative entries for it.
set -euo pipefail
build=$1
work=$2
runpath=$3

rm -rf "$work"
mkdir -p "$work"
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
unset LD_LIBRARY_PATH

library=$(find "$prefix" -name 'libvq_sonaCoreLib_cxx.so.*' -type f | head -n 1)
if [ -z "$library" ]; then
    echo "FAIL the library is not installed under $prefix"
    exit 1
fi
line=$(ldd "$prefix/bin/sonacore-host" | grep 'libvq_sonaCoreLib_cxx' || true)
loaded=$(echo "$line" | awk '{ print $3 }')
if [ ! -e "$loaded" ] || [ "$(readlink -f "$loaded")" != "$(readlink -f "$library")" ]; then
    echo "FAIL the installed sonacore-host does not load $library:$line"
    exit 1
fi
echo "ok   the installed sonacore-host loads $library"

for program in sonacore-host sonacore-avtp-talker; do
    status=0
    "$prefix/bin/$program" --help >"$work/$program.txt" 2>&1 || status=$?
    if [ "$status" -ne 0 ]; then
        echo "FAIL the installed $program --help exits with $status:"
        cat "$work/$program.txt"
        exit 1
    fi
    echo "ok   the installed $program --help exits with 0"
done

for program in sonacore-host sonacore-avtp-talker; do
    found=$(readelf -d "$prefix/bin/$program" | sed -n 's/.*Library runpath: \[\(.*\)\]/\1/p')
    if [ "$found" != "$runpath" ]; then
        echo "FAIL the installed $program has the run path '$found' instead of '$runpath'"
        exit 1
    fi
    echo "ok   the installed $program has the run path $runpath"
done
