#!/bin/bash
# zeft-prompt completes commands and names, keeps a history, gives the model's status, and does without
# rlwrap.
#
# usage: prompt_test.sh ZEFT_PROMPT MODEL
set -eu
prompt=$1 model=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
export HOME=$work TERM=dumb
mkdir bin
fail() {
    echo "FAILED: $1"
    shift
    [ $# -eq 0 ] || cat "$@"
    exit 1
}

# A stand-in keeps what it is given: the words while they are there, and the command.
cat >bin/rlwrap <<'END'
#!/bin/bash
while [ $# -gt 0 ]; do
    case $1 in
        --file) cp "$2" words; shift 2 ;;
        --filter) filter=$2; shift 2 ;;
        --break-chars | --history-filename | --extra-char-after-completion) shift 2 ;;
        --*) shift ;;
        *) break ;;
    esac
done
[ ! "${filter-}" ] || $filter <words >completions
"$@"
exit 7
END
chmod +x bin/rlwrap
status=0
PATH=$work/bin:$PATH TMPDIR=$work "$prompt" "$model" -i <<<exit >out 2>&1 || status=$?
[ $status -eq 7 ] || fail "status $status" out
grep -q '^zeft> ' out || fail 'the model has no prompt' out
for word in traceto readmemh synctime counter. counter.u_lap. counter.u_lap.laps; do
    grep -qxF "$word" words || fail "no word $word" words
done
[ -z "$(find . -name 'tmp.*')" ] || fail 'files are left behind'

# With what filters need: a level at a time. This stand-in completes one prefix.
cat >RlwrapFilter.pm <<'END'
package RlwrapFilter;
sub new { bless {} }
sub completion_handler { $_[0]{handler} = $_[1] }
sub run { chomp(my @words = <STDIN>); print "$_\n" for $_[0]{handler}->('', 'c', grep /^c/, @words) }
1;
END
PATH=$work/bin:$PATH RLWRAP_FILTERDIR=$work "$prompt" "$model" -i <<<exit >out 2>&1 || true
[ "$(grep counter completions)" = counter. ] || fail 'names are not cut at the next level' completions
grep -qx continue completions || fail 'commands are cut' completions

# Without rlwrap.
mkdir tools
for tool in bash sed; do ln -s "$(command -v $tool)" tools/; done
PATH=$work/tools "$prompt" "$model" -i <<<exit >out 2>&1 || fail 'without rlwrap' out
grep -q 'rlwrap is not installed' out || fail 'does not tell' out
grep -q '^zeft> ' out || fail 'no prompt without rlwrap' out
