# On Linux alone: index.cpp gives memory back by malloc.h, indexfiles.cpp calls syncfs.
if(APPLE)
    return()
endif()

find_package(SQLite3 REQUIRED)
localstorage_bench(index_bench
    SOURCES index.cpp
    ROOMS indexmgr recordtree log filesystem osl
    LIBRARIES SQLite::SQLite3)
localstorage_bench(indexfiles_bench
    SOURCES indexfiles.cpp
    ROOMS indexmgr recordtree log filesystem osl)
