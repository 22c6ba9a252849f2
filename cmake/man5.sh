#!/bin/sh
# man5.sh LOWDOWN VERSION PAGE: prints the manual page localstorage-files(5), made of docs/on-disk.md. Its
# words are too long for its tables' columns to be flush at the right.
set -eu
cat <<END
'\\" t
.TH "localstorage\\-files" 5 "" "localstorage $2" "File Formats Manual"
.SH NAME
localstorage\\-files \\- what lies on disk
.ad l
END
"$1" -Tman --nroff-nolinks "$3" | sed 's/^What lies on disk$/DESCRIPTION/'
cat <<END
.SH SEE ALSO
.BR localstorage (1),
.BR liblocalstorage (3)
END
