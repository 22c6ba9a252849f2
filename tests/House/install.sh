#!/usr/bin/env bash
# install.sh BUILD_DIRECTORY SOURCE_DIRECTORY: installs into a prefix of its own, moves that, and
# there builds and runs hosts: linked through CMake's package, linked through pkg-config, and one
# that loads the library at run time; then what the pages tell people to type, and the manual pages.
set -euxo pipefail
build=$1
source=$2
work=$(mktemp -d)
PATH=$source/tests/Pages:$PATH
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/installed"

# The service finds what was installed with it, and is shut off from the rest of the system.
unit=$work/installed/lib/systemd/system/localstorage-record.service
if [[ -f $unit ]]; then
    grep -F "ExecStart=$work/installed/bin/localstorage " "$unit"
    test -f "$(grep -o -e '--config .*' "$unit" | cut -d ' ' -f 2)"
    # In tenths: 0 is shut off from everything, 100 from nothing.
    ! command -v systemd-analyze || systemd-analyze security --offline=true --threshold=20 "$unit"
fi

mv "$work/installed" "$work/prefix"
PKG_CONFIG_PATH=$(dirname "$(find "$work/prefix" -name localstorage.pc)")
export PKG_CONFIG_PATH
library_dir=$(dirname "$PKG_CONFIG_PATH")
library=$(find "$library_dir" -maxdepth 1 -name 'liblocalstorage.so' -o -name 'liblocalstorage.dylib')

# A host's own build, which knows the prefix and nothing of this source tree but the example.
mkdir "$work/host"
cp "$source"/examples/*.c* "$work/host"
cat >"$work/host/CMakeLists.txt" <<'LISTS'
cmake_minimum_required(VERSION 3.25)
project(host LANGUAGES C CXX)
set(CMAKE_C_STANDARD 11)
set(CMAKE_CXX_STANDARD 11)
add_executable(host record_camera.cpp)
add_executable(host_c record_camera.c)
LISTS
block README.md cmake 1 >>"$work/host/CMakeLists.txt"
diff <(block README.md cmake 1) <(block docs/developing.md cmake 1)
echo 'target_link_libraries(host_c PRIVATE localstorage::localstorage)' >>"$work/host/CMakeLists.txt"
cmake -S "$work/host" -B "$work/host/build" -DCMAKE_PREFIX_PATH="$work/prefix"
cmake --build "$work/host/build"

read -ra compile_flags < <(pkg-config --cflags localstorage)
read -ra link_flags < <(pkg-config --libs localstorage)
warnings=(-Wall -Wextra -Wpedantic -Werror)
compile=("${CXX:-c++}" -std=c++11 "${warnings[@]}" "${compile_flags[@]}")
"${compile[@]}" "$work/host/record_camera.cpp" "${link_flags[@]}" -Wl,-rpath,"$library_dir" \
    -o "$work/record_camera"
"${CC:-cc}" -std=c11 "${warnings[@]}" "${compile_flags[@]}" "$work/host/record_camera.c" \
    "${link_flags[@]}" -Wl,-rpath,"$library_dir" -o "$work/record_camera_c"
"${compile[@]}" "$work/host/import_clip.cpp" -ldl -o "$work/import_clip"

# Each host prints the path of a recording, which holds the whole clip.
clip=$source/fuzz/seeds/streamprobe/h264
cmp "$clip" "$("$work/host/build/host" "$work/disk1" door "$work/logs" 1 <"$clip")"
cmp "$clip" "$("$work/record_camera" "$work/disk2" door "$work/logs" 1 <"$clip")"
cmp "$clip" "$("$work/host/build/host_c" "$work/disk4" door "$work/logs" 1 <"$clip")"
cmp "$clip" "$("$work/record_camera_c" "$work/disk5" door "$work/logs" 1 <"$clip")"
cmp "$clip" "$("$work/import_clip" "$library" "$work/disk3" door "$clip" "$work/logs")"

# The element finds the library that was installed with it.
plugins=$library_dir/gstreamer-1.0
if [[ -d $plugins ]]; then
    GST_REGISTRY=$work/registry GST_PLUGIN_SYSTEM_PATH='' GST_PLUGIN_PATH=$plugins \
        gst-inspect-1.0 localstoragesink >"$work/element"
    grep -E 'Long-name +Surveillance video recorder' "$work/element"
    ldd "$plugins/libgstlocalstorage.so" | grep -F "$(realpath "$library_dir")"
fi

[[ -x $work/prefix/bin/localstorage ]] || exit 0
export PATH=$work/prefix/bin:$PATH XDG_STATE_HOME=$work/state

# The program loads nothing of what its quick commands do not use, and tells what it lacks for others.
libraries=$(ldd "$work/prefix/bin/localstorage")
[[ $libraries == *liblocalstorage* && $libraries != *libav* && $libraries != *libmicrohttpd* ]]
whole=$(find "$work/prefix" -name 'localstorage-[0-9]*')
mv "$whole" "$whole.9"
localstorage --version
status=0
localstorage verify . 2>"$work/message" || status=$?
[[ $status -eq 1 ]] && grep 'cannot run .*/localstorage: No such file' "$work/message"
mv "$whole.9" "$whole"

# Every command of the quick start, as it stands there, beside the host that it names.
cd "$work/host"
block docs/quick-start.md sh >commands
LD_LIBRARY_PATH=$library_dir bash -euxo pipefail commands
ffprobe -v error door.mp4

# Every configuration file of the pages.
awk '/^```toml$/ { file = "config" ++count; next } /^```$/ { file = "" } file { print > file }' \
    "$source/README.md" "$source"/docs/*.md
for file in config*; do
    localstorage record --config "$file" --print-config
done

# Every manual page is there, and in order.
cd "$work/prefix/share/man"
localstorage --help | sed -n '/^Subcommands/,$s/^  \([a-z]*\) .*/\1/p' | while read -r command; do
    test -s "man1/localstorage-$command.1"
done
command -v man || exit 0
for page in man?/*; do
    complaints=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l "$page" 2>&1 >/dev/null)
    [[ -z $complaints ]]
done
