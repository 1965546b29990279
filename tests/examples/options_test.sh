#!/bin/sh
# The example's command line: what is wrong is said, and the status tells.
#
# usage: options_test.sh SOC
set -eu
soc=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# status, text in the output if any; arguments
expect() {
    want=$1 text=$2
    shift 2
    status=0
    "$soc" "$@" >out 2>&1 </dev/null || status=$?
    if [ $status -eq "$want" ]; then
        [ -z "$text" ] && return
        grep -q -- "$text" out && return
    fi
    echo "FAILED: soc $*: status $status, output:"
    cat out
    exit 1
}

echo '0000006g' >garbage.hex
echo '100000000' >wide.hex
yes 00000013 | head -n 257 >long.hex
echo '0000006f' >spin.hex

expect 2 "Failed to open 'nosuch.hex'" nosuch.hex
expect 2 'garbage.hex:1: unexpected character' garbage.hex
expect 2 'too many digits' wide.hex
expect 2 'out of range' long.hex
expect 2 'usage' -x
expect 2 'usage' -n
expect 2 'usage' -n many
expect 2 'usage' -n 99999999999999999999
expect 2 'usage' spin.hex spin.hex
expect 0 '' -n 0 spin.hex
expect 0 'uart: ready' -n 2000
expect 0 'zeft> ' -i -n 10 spin.hex
