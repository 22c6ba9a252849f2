#!/usr/bin/env bash
# packages.sh SOURCE_DIRECTORY VERSION: the Debian packages have the version of the sources, and know
# every name that the library exports.
set -euxo pipefail
cd "$1"
grep -m1 -F "localstorage ($2) " debian/changelog
diff -u <({ sed 's/$/@Base/' cmake/exports.txt; sed 's/$/@LOCALSTORAGE_C_1/' cmake/exports-c.txt <(
        echo LOCALSTORAGE_C_1); } | LC_ALL=C sort) \
    <(sed -n 's/^ \(.*@[^ ]*\) .*/\1/p' debian/liblocalstorage1.symbols | LC_ALL=C sort)
