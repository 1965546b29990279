#!/usr/bin/env bash
# Installs a build, links the model of user/ to it in each way there is, and compares what it says:
# install.sh BUILD_DIR LIBDIR COMPILER FLAGS
set -eu
build=$1 libdir=$2 compiler=$3 flags=$4
user=$(cd "$(dirname "$0")/user" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

cmake --install "$build" --prefix "$work/installed" >install.log
mv installed prefix # an installed tree can be moved
prefix=$work/prefix
export LD_LIBRARY_PATH=$prefix/$libdir

check() { # HOW PROGRAM [LIBRARY]: runs a model; a library named must be needed, else none of ours
    needs=$(readelf -d "$2" | sed -n 's/.*(NEEDED).*\[\(libzeft.*\)\]/\1/p')
    [ "$needs" = "${3-}" ] || { echo "$1: needs '$needs', not '${3-}'"; exit 1; }
    mkdir "$1.run"
    (cd "$1.run" && "$work/$2" >../said && gzip -t counter.vcd.gz) || { echo "$1: fails"; exit 1; }
    diff -u "$user/expected.txt" said || { echo "$1: says something else"; exit 1; }
    echo "$1: ok"
}

project() { # HOW OPTION...: builds the model with the CMake package
    how=$1
    shift
    if ! {
        cmake -S "$user" -B "$how" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
            -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" "$@" &&
            cmake --build "$how"
    } >"$how.log"; then
        cat "$how.log"
        exit 1
    fi
}
project default
check default default/counter
project chosen -DBUILD_SHARED_LIBS=ON
check chosen chosen/counter libzeft.so.3
project component -DZEFT_FORM=shared
check component component/counter libzeft.so.3

module() { PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig pkg-config "$@" zeft; }
# shellcheck disable=SC2046,SC2086 # lists of flags
plain() { # HOW FLAG...: builds the model by hand
    how=$1
    shift
    "$compiler" -std=c++11 $flags $(module --cflags) "$user/counter.cpp" -o "$how" "$@"
}
# shellcheck disable=SC2046
plain pc_shared $(module --libs)
check pc_shared pc_shared libzeft.so.3
# shellcheck disable=SC2046
plain pc_static -Wl,-Bstatic $(module --libs --static) -Wl,-Bdynamic
check pc_static pc_static
