#!/usr/bin/env bash
# exports.sh LIBRARY LIST: the library exports the C names in LIST and nothing else, and says which
# version of its interface it is.
set -euo pipefail
library=$1
list=$2

fail() {
    echo "$*"
    exit 1
}

if [[ $(uname) == Darwin ]]; then
    exported=$(nm -gU "$library" | sed 's/.* _//')
    otool -D "$library" | grep -q '/liblocalstorage\.1\.dylib$' || fail "wrong install name"
else
    exported=$(nm -D --defined-only "$library" | awk '{print $NF}')
    objdump -p "$library" | grep -qE 'SONAME +liblocalstorage\.so\.1$' || fail "wrong SONAME"
fi
diff -u <(LC_ALL=C sort "$list") <(LC_ALL=C sort <<<"$exported") || fail "other names are exported"
