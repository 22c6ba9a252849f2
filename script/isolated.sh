# For scripts that mount disks and start servers of their own. Sourced after script/common.sh.
# shellcheck shell=bash

# run_isolated [unshare option...] -- [argument...]: runs this script again, with the arguments, in
# namespaces of its own, where $isolated_work is an empty directory. Whatever ends it, its processes
# are killed with it, its mounts and loop devices are gone with them, and the directory is removed.
run_isolated() {
    local -a options=(--mount --pid --fork --kill-child --mount-proc)
    local status=0
    while [[ $1 != -- ]]; do
        options+=("$1")
        shift
    done
    shift
    unshare "${options[@]}" true 2>/dev/null || return 77
    isolated_child=
    isolated_work=$(mktemp -d "${TMPDIR:-/var/tmp}/localstorage-XXXXXX")
    trap 'exit 130' INT TERM
    trap '{ [[ -z $isolated_child ]] || kill -KILL $isolated_child; wait; } 2>/dev/null || true
        rm -rf --one-file-system "$isolated_work"' EXIT
    isolated_work=$isolated_work setpriv --pdeathsig KILL unshare "${options[@]}" "$0" "$@" &
    isolated_child=$!
    wait $isolated_child || status=$?
    isolated_child=
    exit $status
}
