#!/usr/bin/env bash
# Installs a build, links the models of user/ and of tests/harness/ to it in each way there is, compares
# what the one says, and the other with a trace:
# install.sh BUILD_DIR LIBDIR SONAME COMPILER FLAGS ZLIB VERILATED
set -eu
build=$1 libdir=$2 soname=$3 compiler=$4 flags=$5 zlib=$6 verilated=$7
user=$(cd "$(dirname "$0")/user" && pwd)
model=$(cd "$(dirname "$0")/../harness" && pwd)/counter.cpp
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

cmake --install "$build" --prefix "$work/installed" >install.log
mv installed prefix # an installed tree can be moved
[ -x prefix/bin/zeft-prompt ] || { echo 'zeft-prompt is not installed'; exit 1; }
prefix=$work/prefix
export LD_LIBRARY_PATH=$prefix/$libdir

sed 's/^b10 n/b110 n/' "$user/reference.vcd" >wrong.vcd

# check HOW FOLDER [LIBRARY]: runs the models; a library named must be needed, else none of ours
check() {
    for program in counter model; do
        needs=$(readelf -d "$2/$program" | sed -n 's/.*(NEEDED).*\[\(libzeft.*\)\]/\1/p')
        [ "$needs" = "${3-}" ] || { echo "$1: $program needs '$needs', not '${3-}'"; exit 1; }
    done
    mkdir "$1.run"
    (cd "$1.run" && "$work/$2/counter" >../said && gzip -t counter.vcd.gz) ||
        { echo "$1: fails"; exit 1; }
    diff -u "$user/expected.txt" said || { echo "$1: says something else"; exit 1; }
    "$2/model" --validate "$user/reference.vcd" >said || { cat said; echo "$1: disagrees"; exit 1; }
    status=0
    "$2/model" --validate wrong.vcd >said || status=$?
    [ $status -eq 1 ] || { cat said; echo "$1: overlooks a difference"; exit 1; }
    echo "$1: ok"
}

project() { # HOW OPTION...: builds the model with the CMake package
    how=$1
    shift
    if ! {
        cmake -S "$user" -B "$how" -G Ninja -DMODEL_SOURCE="$model" -DCMAKE_PREFIX_PATH="$prefix" \
            -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" -DZLIB_LIBRARY="$zlib" "$@" &&
            cmake --build "$how"
    } >"$how.log"; then
        cat "$how.log"
        exit 1
    fi
}
project default
check default default
project chosen -DBUILD_SHARED_LIBS=ON
check chosen chosen "$soname"
project component -DZEFT_FORM=shared
check component component "$soname"

module() { PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig pkg-config "$@"; }
# shellcheck disable=SC2046,SC2086 # lists of flags
plain() { # HOW PKG_CONFIG_OPTION LINKER_FLAG...: builds the models by hand
    how=$1 kind=$2 static=${3-} shared=${4-}
    mkdir "$how"
    "$compiler" -std=c++11 $flags $(module --cflags zeft) "$user/counter.cpp" -o "$how/counter" \
        $static $(module $kind --libs zeft) $shared
    "$compiler" -std=c++11 $flags $(module --cflags zeft-main) "$model" -o "$how/model" \
        $static $(module $kind --libs zeft-main) $shared
}
plain pc_shared ""
check pc_shared pc_shared "$soname"
plain pc_static --static -Wl,-Bstatic -Wl,-Bdynamic
check pc_static pc_static

for page in "$user"/../../../docs/man/*.[137]; do
    [ -e "$prefix/share/man/man${page##*.}/${page##*/}" ] || { echo "$page is not installed"; exit 1; }
done

# A project that has a model built from Verilog
if [ "$verilated" = ON ]; then
    uart=$(cd "$user/../../../examples/uart" && pwd)
    export MAKEFLAGS="OPT_FAST=-O0 OPT_GLOBAL=-O0"
    if ! {
        cmake -S "$uart" -B uart -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DZLIB_LIBRARY="$zlib" &&
            cmake --build uart && ctest --test-dir uart --output-on-failure
    } >uart.log 2>&1; then
        cat uart.log
        exit 1
    fi
    cmake --build uart | grep -q 'no work to do' || { echo 'the model is built again'; exit 1; }
    echo "qk_verilate: ok"
    {
        cmake -S "$uart/../regression" -B night -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DZLIB_LIBRARY="$zlib" &&
            cmake --build night && ctest --test-dir night -j2 --output-on-failure &&
            (cd night && ../prefix/bin/zeft-regress regression.list)
    } >night.log 2>&1 || true
    for line in '100% tests passed, 0 tests failed out of 20' '20 comparisons: 17 agree, 3 differ, 0 failed'; do
        grep -qx "$line" night.log || { cat night.log; exit 1; }
    done
    echo "zeft_add_validation: ok"
fi
