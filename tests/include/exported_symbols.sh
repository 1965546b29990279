#!/usr/bin/env bash
# Compares what the libraries let others see with exported_symbols.txt, and what the shared one
# needs with what a model's machine has: exported_symbols.sh SHARED STATIC
set -eu
shared=$1 static=$2
list=$(dirname "$0")/exported_symbols.txt

# One line a symbol; constructors and destructors have several of one name. A uint64_t is called
# differently where a long has 32 bits.
names() { nm --defined-only -C --format=just-symbols "$@" | sed '/^$/d; /:$/d; s/long long/long/g' | LC_ALL=C sort -u; }

failed=0
names -D "$shared" | diff -u "$list" --label "${shared##*/}" - || failed=1
names -g "$static" | diff -u "$list" --label "${static##*/}" - || failed=1

allowed='lib(c|m|stdc\+\+|gcc_s|z|asan|tsan|ubsan)\.so\.[0-9]+|ld-linux-[a-z0-9_-]+\.so\.[0-9]+'
stray=$(readelf -d "$shared" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -Evx "$allowed" || true)
if [ -n "$stray" ]; then
    echo "${shared##*/} needs $stray"
    failed=1
fi
exit $failed
