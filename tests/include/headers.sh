#!/usr/bin/env bash
# Compiles each public header alone: headers.sh COMPILER STANDARD
set -eu
compiler=$1 standard=$2
include=$(cd "$(dirname "$0")/../../include" && pwd)

failed=0
for header in "$include"/*.h; do
    # Through a file of its own, as a main file may not say #pragma once and the like.
    printf '#include <%s>\n' "${header##*/}" |
        "$compiler" -std="$standard" -Wall -Wextra -pedantic -Werror -fsyntax-only \
            -I"$include" -x c++ - || { echo "${header##*/} does not compile alone"; failed=1; }
done
exit $failed
