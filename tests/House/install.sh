#!/usr/bin/env bash
# install.sh BUILD_DIRECTORY SOURCE_DIRECTORY: installs into a prefix of its own, moves that, and
# there builds and runs hosts: linked through CMake's package, linked through pkg-config, and one
# that loads the library at run time.
set -euo pipefail
build=$1
source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "$*"
    exit 1
}

cmake --install "$build" --prefix "$work/installed" >/dev/null
mv "$work/installed" "$work/prefix"
pkg_config_dir=$(dirname "$(find "$work/prefix" -name localstorage.pc)")
library_dir=$(dirname "$pkg_config_dir")
library=$(find "$library_dir" -maxdepth 1 -name 'liblocalstorage.so' -o -name 'liblocalstorage.dylib')

# A host's own build, which knows the prefix and nothing of this source tree but the example.
mkdir "$work/host"
cp "$source"/examples/*.cpp "$work/host"
cat >"$work/host/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(host LANGUAGES CXX)
set(CMAKE_CXX_STANDARD 11)
find_package(localstorage 1 REQUIRED)
add_executable(record_camera record_camera.cpp)
target_link_libraries(record_camera PRIVATE localstorage::localstorage)
END
cmake -S "$work/host" -B "$work/host/build" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/host/build" >/dev/null

export PKG_CONFIG_PATH=$pkg_config_dir
read -ra compile_flags < <(pkg-config --cflags localstorage)
read -ra link_flags < <(pkg-config --libs localstorage)
compile=("${CXX:-c++}" -std=c++11 -Wall -Wextra -Wpedantic -Werror "${compile_flags[@]}")
"${compile[@]}" "$work/host/record_camera.cpp" "${link_flags[@]}" -Wl,-rpath,"$library_dir" \
    -o "$work/record_camera"
"${compile[@]}" "$work/host/import_clip.cpp" -ldl -o "$work/import_clip"

ffmpeg -nostdin -v error -f lavfi -i testsrc2=size=320x240:duration=1 -c:v libx264 \
    -preset ultrafast -f h264 "$work/clip.h264"
size=$(wc -c <"$work/clip.h264")

# holds_clip PATH: the path that a host printed is a recording of the whole clip.
holds_clip() {
    [[ -f $1 && $(wc -c <"$1") -eq $size ]] || fail "no whole recording: '$1'"
}

for host in "$work/host/build/record_camera" "$work/record_camera"; do
    camera=cam_$((camera_count = ${camera_count-0} + 1))
    holds_clip "$("$host" "$work/disk" "$camera" "$work/log_files" <"$work/clip.h264")"
done
holds_clip "$("$work/import_clip" "$library" "$work/backup" front_door "$work/clip.h264" \
    "$work/log_files")"
grep -q '\[NewLocalStorageClass\] return true' "$work"/log_files/*.log || fail "no log was written"

if [[ -x $work/prefix/bin/localstorage ]]; then
    "$work/prefix/bin/localstorage" --version >/dev/null || fail "the installed tool does not start"
fi
