#!/bin/sh
# The example's model against the traces that are kept: it agrees with the good one, and in each of
# the others the first difference is reported at its net and its time.
#
# usage: validate_test.sh SOC EXAMPLE_DIR
set -eu
soc=$1 traces=$2/reference
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

fail() {
    echo "FAILED: $1"
    cat out
    exit 1
}

# trace, status
validate() {
    status=0
    "$soc" --validate "$1" --map soc=tb.dut --synctime 1ns >out 2>&1 </dev/null || status=$?
    [ $status -eq "$2" ] || fail "$1: status $status, not $2"
}

validate "$traces/good.vcd.gz" 0
for line in '225 match variables' '56 variables can be compared, 56 in trace' \
    'Made 6003 changes in 2 inputs' ' changes in 58 signals' 'synchronise was 0ns' \
    ' 0 differences found'; do
    grep -q -- "$line" out || fail "good: no '$line'"
done

# Time and net by a comparison of the dumps with the good one that knew nothing of the model
while read -r name time net; do
    validate "$traces/$name.vcd.gz" 1
    line=$(grep -m 1 '^Time: [0-9]*ns: [BM]' out) || fail "$name: no difference"
    case $line in
        "Time: ${time}ns: "*": $net") ;;
        *) fail "$name: not at $time, $net: $line" ;;
    esac
done <<END
late 300 soc.txd
stuck 205 soc.tx_data
swapped 855 soc.u_cpu.pc
unreset 20005 soc.u_timer.count
END

echo 'agreement and differences told apart'
