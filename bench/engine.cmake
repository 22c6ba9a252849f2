# The engine: writing against bare system calls, a whole recording against ffmpeg, a deletion pass
# against rm.
set(engine_rooms osl filesystem streamprobe log recordtree indexmgr engine)
foreach(theme writing recording deletion)
    localstorage_bench(bench_engine_${theme}
        SOURCES engine_${theme}.cpp EngineBench.cpp
        ROOMS ${engine_rooms})
    target_compile_definitions(bench_engine_${theme} PRIVATE
        STREAM_DIR="${PROJECT_BINARY_DIR}/bench-streams")
endforeach()
