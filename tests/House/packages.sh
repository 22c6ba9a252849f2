#!/usr/bin/env bash
# packages.sh SOURCE_DIRECTORY VERSION: the packages have the version of the sources, and Debian's know
# every name that the library exports.
set -euxo pipefail
cd "$1"
grep -m1 -F "localstorage ($2) " debian/changelog
grep -x "version = \"$2\"" python/pyproject.toml
diff -u <({ sed 's/$/@Base/' cmake/exports.txt; sed 's/$/@LOCALSTORAGE_C_1/' cmake/exports-c.txt <(
        echo LOCALSTORAGE_C_1); } | LC_ALL=C sort) \
    <(sed -n 's/^ \(.*@[^ ]*\) .*/\1/p' debian/liblocalstorage1.symbols | LC_ALL=C sort)
