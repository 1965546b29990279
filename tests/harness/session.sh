#!/usr/bin/env bash
# Holds a session with a model at the shell: session.sh COUNTER FILE. Commands begin with "$ "; FILE must
# have below each of them what it writes, and its status unless that is 0.
# Where the tests were started signals may be ignored, and a shell cannot undo that.
[ "${DEFAULT_SIGNALS-}" ] || DEFAULT_SIGNALS=1 exec env --default-signal bash "$0" "$@"
set -uo pipefail
export LC_ALL=C
counter=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1

# verdict ARGUMENT...: what the model writes as errors, and the end of its output
verdict() {
    local status=0
    "$counter" "$@" >out 2>err </dev/null || status=$?
    sed "s|^$counter|counter|; s/^/! /" err
    tail -n 2 out | sed '$a\'  # a line end at the end
    return $status
}

# typed TEXT ARGUMENT...: the same at a terminal, where TEXT is typed and then Ctrl-D
typed() {
    local text=$1
    shift
    # shellcheck disable=SC2059 # a format
    printf "$text" | script -E never -qec "$counter $*" /dev/null | tr -d '\r' | sed '$a\'
}

# trace FILE SCOPES [SED_SCRIPT]: the counter over four rising edges, as worked out by hand. Scopes, one
# word each, enclose the nets.
trace() {
    {
        echo '$timescale 1 ns $end'
        for scope in $2; do echo "\$scope module $scope \$end"; done
        printf '$var wire 1 %s $end\n' 'c clk' 'e en' 'd done'
        echo '$var reg 4 n count [3:0] $end'
        for scope in $2; do echo "\$upscope \$end"; done
        printf '%s\n' '$enddefinitions $end' '#0' '$dumpvars' 0c 1e 0d 'b0 n' '$end' \
            '#5' 1c 'b1 n' '#10' 0c '#15' 1c 'b10 n' '#20' 0c '#25' 1c 'b11 n' 1d '#30' 0c \
            '#35' 1c 'b100 n' 0d '#40' 0c
    } | sed "${3-}" >"$1"
}

while IFS= read -r line <&3; do
    case $line in
        '# '*) echo "$line" ;;
        '$ '*) echo "$line"; eval "${line#\$ }" 2>&1 || echo "status $?" ;;
    esac
done 3<"$2" | diff -u "$2" -
