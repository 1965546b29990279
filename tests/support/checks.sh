# shellcheck shell=bash
# Sourced by tests of a program, whose path is $program: checks that are all made. They end with `exit $failed`.
set -u
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failed=0

holds() { # WHAT COMMAND...: a command that must succeed
    local what=$1
    shift
    "$@" && return
    failed=1
    echo "FAILED: $what"
    sed 's/^/    /' out
}
runs() { # STATUS OPTION...: what is said goes to `out`
    local status=0
    "$program" "${@:2}" >out 2>&1 </dev/null || status=$?
    holds "status $status, not $1: ${*:2}" test $status -eq "$1"
}
says() { holds "says '$1'" grep -qFx -- "$1" out; }
