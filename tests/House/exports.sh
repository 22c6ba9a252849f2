#!/usr/bin/env bash
# exports.sh LIBRARY LIST: the library exports the C names in LIST and nothing else, and says which
# version of its interface it is.
set -euxo pipefail
if [[ $(uname) == Darwin ]]; then
    exported=$(nm -gU "$1" | sed 's/.* _//')
    otool -D "$1" | grep '/liblocalstorage\.1\.dylib$'
else
    exported=$(nm -D --defined-only "$1" | awk '{print $NF}')
    objdump -p "$1" | grep -E 'SONAME +liblocalstorage\.so\.1$'
fi
diff -u <(LC_ALL=C sort "$2") <(LC_ALL=C sort <<<"$exported")
