#!/bin/sh
# Runs the example in one, and in two processes: the second goes on from the state that the first
# has saved. The second half must be the same in both, in every net and in the text.
#
# usage: halves_test.sh SOC VCDCMP
set -eu
soc=$1 vcdcmp=$2

fail() {
    echo "FAILED: $1"
    exit 1
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

second_half="trace *
traceto second.vcd
continue 450us
lstofile end.ls *
lstofile ram.ls soc.u_ram.words[]
lstofile trail.ls soc.u_sig.trail[]
continue"

# In the middle of a bit of a character of a line, off the clock's edges and on one.
for time in 234567ns 300005ns; do
    rm -rf one two
    mkdir one two
    cd one
    printf 'continue %s\nsavesim half\n%s\n' $time "$second_half" >run.cmd
    "$soc" -n 50000 -c run.cmd >run.log </dev/null || fail "$(tail run.log)"
    grep -q '^Array written to file: half.soc.u_sig.trail$' run.log || fail "$(tail run.log)"
    cd ../two
    cp ../one/half.* .
    printf 'loadsim half\n%s\n' "$second_half" >run.cmd
    "$soc" -n 50000 -c run.cmd >run.log </dev/null || fail "$(tail run.log)"
    cd ..
    grep -q 'command failed\|ignored' two/run.log && fail "$(head -30 two/run.log)"

    "$vcdcmp" --all --min-vars 230 one/second.vcd two/second.vcd || fail "the dumps differ"
    for listing in end.ls ram.ls trail.ls; do
        cmp one/$listing two/$listing || fail "$listing differs"
    done
    grep '^uart: ' two/run.log >two.txt
    grep '^uart: ' one/run.log | tail -n $(wc -l <two.txt) | cmp - two.txt || fail "the text differs"
done
