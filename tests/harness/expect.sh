# shellcheck shell=bash
# Sourced by the tests of the command line, with the program as first argument.
counter=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failed=0

# expect STATUS OUTPUT ERRORS ARGUMENT...: regular expressions of what is said on the two streams;
# '' wants an error stream without a word but the hint at --scan, which goes to `hint`, and takes any
# output. A `!` in front wants none of it.
expect() {
    local status=0 want=$1 output=$2 errors=$3 good=yes
    shift 3
    "$counter" "$@" >out 2>err </dev/null || status=$?
    sed -n '/, --scan may help$/p' err >hint
    sed -i '/, --scan may help$/d' err
    [ "$status" -eq "$want" ] || good=
    case $output in
        '') ;;
        !*) ! grep -qE -- "${output#!}" out || good= ;;
        *) grep -qE -- "$output" out || good= ;;
    esac
    if [ -z "$errors" ]; then [ ! -s err ] || good=; else grep -qE -- "$errors" err || good=; fi
    [ -z "$good" ] || return 0
    failed=1
    printf 'FAILED: %s\n  status %s, not %s; output:\n' "$*" "$status" "$want"
    sed 's/^/    /' out
    echo '  errors:'
    sed 's/^/    /' err
}

# typed TEXT STATUS OUTPUT ARGUMENT...: the same at a terminal, where TEXT is typed and then Ctrl-D
typed() {
    local status=0 text=$1 want=$2 output=$3
    shift 3
    # shellcheck disable=SC2059 # a format
    printf "$text" | script -qec "$counter $*" /dev/null >out 2>&1 || status=$?
    tr -d '\r' <out >err
    [ "$status" -eq "$want" ] && grep -qzP -- "(?s)$output" err && return
    failed=1
    printf 'FAILED at a terminal: %s\n  status %s, not %s; output:\n' "$*" "$status" "$want"
    sed 's/^/    /' err
}

holds() { # WHAT COMMAND...: a command that must succeed
    local what=$1
    shift
    "$@" && return
    failed=1
    echo "FAILED: $what"
}
