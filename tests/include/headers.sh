#!/usr/bin/env bash
# Compiles each public header alone: headers.sh COMPILER STANDARD
set -eu
compiler=$1 standard=$2
root=$(cd "$(dirname "$0")/../.." && pwd)

failed=0
for header in "$root"/include/*.h "$root"/harness/zeft_main.h; do
    # Through a file of its own, as a main file may not say #pragma once and the like.
    printf '#include <%s>\n' "${header##*/}" |
        "$compiler" -std="$standard" -Wall -Wextra -pedantic -Werror -fsyntax-only \
            -I"$root/include" -I"$root/harness" -x c++ - || { echo "${header##*/} does not compile alone"; failed=1; }
done
exit $failed
