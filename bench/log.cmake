find_package(spdlog REQUIRED)
localstorage_bench(log_bench
    SOURCES log.cpp
    ROOMS log filesystem osl
    LIBRARIES spdlog::spdlog)
