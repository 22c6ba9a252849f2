# The stream analyser against FFmpeg's parsers and demultiplexer. The streams are made once, with the
# target bench.
find_package(PkgConfig REQUIRED)
pkg_check_modules(bench_libav REQUIRED IMPORTED_TARGET libavformat libavcodec libavutil)

set(probe_streams ${PROJECT_BINARY_DIR}/bench-streams)
add_custom_command(
    OUTPUT ${probe_streams}/bench.h264 ${probe_streams}/bench.h265 ${probe_streams}/bench.ts
    COMMAND ${PROJECT_SOURCE_DIR}/script/make-corpus ${probe_streams} bench
    DEPENDS ${PROJECT_SOURCE_DIR}/script/make-corpus
    COMMENT "Making the streams of the benchmark")
add_custom_target(bench_streams DEPENDS
    ${probe_streams}/bench.h264 ${probe_streams}/bench.h265 ${probe_streams}/bench.ts)

localstorage_bench(bench_probe
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/probe.cpp
    ROOMS streamprobe
    LIBRARIES PkgConfig::bench_libav)
target_compile_definitions(bench_probe PRIVATE STREAM_DIR="${probe_streams}")
add_dependencies(bench bench_streams)
