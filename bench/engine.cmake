# The engine: writing against bare system calls, a whole recording against ffmpeg, a deletion pass
# against rm, syncing against none (on Linux alone: the pieces of disk of a file).
set(engine_rooms osl filesystem streamprobe log recordtree indexmgr engine)
set(engine_themes writing recording deletion)
if(NOT APPLE)
    list(APPEND engine_themes sync)
endif()
foreach(theme IN LISTS engine_themes)
    localstorage_bench(bench_engine_${theme}
        SOURCES engine_${theme}.cpp EngineBench.cpp
        ROOMS ${engine_rooms})
    target_compile_definitions(bench_engine_${theme} PRIVATE
        STREAM_DIR="${PROJECT_BINARY_DIR}/bench-streams")
endforeach()
