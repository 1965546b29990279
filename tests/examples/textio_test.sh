#!/bin/sh
# Runs the filter's model on its text files and compares what it writes and reports with what GHDL
# makes of the VHDL source: with what is stored, and with a new run where GHDL is installed.
#
# usage: textio_test.sh FIR_TB EXAMPLE_DIR
set -eu
model=$1 example=$2

fail() {
    echo "FAILED: $1"
    exit 1
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
cp "$example/taps.txt" "$example/samples.txt" .
"$model" >said.txt </dev/null || fail "$(tail said.txt)"
sed -E 's/^ZEFT: (report|assertion) ([a-z]+) at [0-9]+ns in fir_tb: /\2: /' said.txt >console.txt

compare() {
    diff "$1/results.txt" results.txt || fail "the results differ from $2"
    diff "$1/console.txt" console.txt || fail "the reports differ from $2"
}
compare "$example/expected" "what is stored"
if command -v ghdl >/dev/null; then
    "$example/make_expected" "$work/ghdl"
    compare "$work/ghdl" "GHDL"
fi

rm taps.txt
status=0
"$model" >said.txt </dev/null || status=$?
[ $status -eq 1 ] || fail "status $status without taps"
[ "$(cat said.txt)" = "ZEFT: assertion failure at 0ns in fir_tb: no taps" ] || fail "$(cat said.txt)"
