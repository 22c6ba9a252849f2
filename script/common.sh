# What the scripts share; they source it after they have gone to the root of the repository.
# shellcheck shell=bash

jobs=$(getconf _NPROCESSORS_ONLN)
if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
fi

say() {
    echo "== $*"
}

# not_here WHY...: ends a script that cannot be run on this machine.
not_here() {
    echo "script/${0##*/}: not run here: $*"
    exit 77
}

# Of this project; CMakeLists.txt has it.
version() {
    sed -n 's/^project(localstorage VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt
}

# build PRESET "TARGET..." [configure option...]: configures and builds, and tells how far it is; what
# the tools print is shown only when one of them fails.
build() {
    local preset=$1 log=build/$1.log
    local -a targets
    read -ra targets <<<"$2"
    shift 2
    mkdir -p build
    if ! { cmake --preset "$preset" "$@" && cmake --build --preset "$preset" -j "$jobs" \
        --target "${targets[@]}"; } 2>&1 | tee "$log" | show_progress; then
        cat "$log" >&2
        return 1
    fi
}

# Of what ninja prints ("[17/160] ..."), every tenth that is done, in one line.
show_progress() {
    local line tenth shown=0
    while read -r line; do
        [[ $line =~ ^\[([0-9]+)/([0-9]+)\] ]] || continue
        tenth=$((10 * BASH_REMATCH[1] / BASH_REMATCH[2]))
        [[ $tenth -gt $shown ]] || continue
        shown=$tenth
        printf '%d %% ' $((10 * tenth))
    done
    [[ $shown -eq 0 ]] || echo
}

# number ATTRIBUTE FILE: of all tests, in a report of ctest or GoogleTest.
number() {
    grep -m1 -o "$1=\"[0-9]*\"" "$2" | tr -dc 0-9
}
