#!/usr/bin/env bash
# Runs the demonstration and has an independent reader read its waveforms: vcd2fst.sh SOC
set -eu
soc=$1
script=$(cd "$(dirname "$0")/../../examples/soc" && pwd)/demo.cmds
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

"$soc" -c "$script" </dev/null >said 2>complaints
if [ -s complaints ] || grep -E 'not recognised|[Nn]o matching|no signals match|[Ff]ailed|rror' said; then
    cat complaints
    echo "the demonstration does not go through"
    exit 1
fi

outline() { # of a VCD file: its variables and its last time
    awk '$1 == "$var" { ++variables } /^#/ { time = $0 } END { print variables + 0, time }' "$1"
}
count=0
for file in *.vcd *.vcd.gz; do
    case $file in
        *.gz) gzip -dc "$file" >"$file.plain" ;;
        *) cp "$file" "$file.plain" ;;
    esac
    if ! vcd2fst "$file.plain" "$file.fst" >/dev/null 2>complaints || [ -s complaints ]; then
        echo "vcd2fst on $file:"
        cat complaints
        exit 1
    fi
    fst2vcd "$file.fst" >"$file.back"
    mine=$(outline "$file.plain") theirs=$(outline "$file.back")
    echo "$file: $mine, read as $theirs"
    [ "$mine" = "$theirs" ] || exit 1
    case $mine in 0* | *' ' | *'#0') echo "$file is empty"; exit 1 ;; esac
    count=$((count + 1))
done
[ $count -ge 3 ] || { echo "only $count waveforms"; exit 1; }
