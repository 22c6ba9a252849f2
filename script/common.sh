# What the scripts share; they source it after they have gone to the root of the repository.
# shellcheck shell=bash

jobs=$(getconf _NPROCESSORS_ONLN)
if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
fi

say() {
    echo "== $*"
}

# build PRESET TARGET [configure option...]: configures and builds; what the tools print is shown
# only when one of them fails.
build() {
    local preset=$1 target=$2 log=build/$1.log
    shift 2
    mkdir -p build
    if ! { cmake --preset "$preset" "$@" && cmake --build --preset "$preset" -j "$jobs" \
        --target "$target"; } >"$log" 2>&1; then
        cat "$log" >&2
        return 1
    fi
}

# number ATTRIBUTE FILE: of all tests, in a report of ctest or GoogleTest.
number() {
    grep -m1 -o "$1=\"[0-9]*\"" "$2" | tr -dc 0-9
}
