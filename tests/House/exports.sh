#!/usr/bin/env bash
# exports.sh LIBRARY LIST C_LIST: the library exports the C names in LIST, those in C_LIST under their
# version, and nothing else, and says which version of its interface it is.
set -euxo pipefail
if [[ $(uname) == Darwin ]]; then
    exported=$(nm -gU "$1" | sed 's/.* _//')
    version=
    otool -D "$1" | grep '/liblocalstorage\.1\.dylib$'
else
    exported=$(nm -D --defined-only "$1" | awk '$2 != "A" {print $NF}')
    version=@@LOCALSTORAGE_C_1
    objdump -p "$1" | grep -E 'SONAME +liblocalstorage\.so\.1$'
fi
diff -u <(sed "s/$/$version/" "$3" | cat "$2" - | LC_ALL=C sort) <(LC_ALL=C sort <<<"$exported")
