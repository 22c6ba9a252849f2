# The packages that the tool, the tests and the benchmarks are built with. What lacks is told by name,
# all of it at once, with the two ways out.

find_package(PkgConfig QUIET)

# localstorage_needs(OPTION [PACKAGES package...] [MODULES module...]): when the option is on, finds
# CMake packages, and pkg-config modules as PkgConfig::module.
function(localstorage_needs option)
    if(NOT ${option})
        return()
    endif()
    cmake_parse_arguments(ARG "" "" "PACKAGES;MODULES" ${ARGN})
    foreach(package IN LISTS ARG_PACKAGES)
        find_package(${package} QUIET GLOBAL)
        if(NOT ${package}_FOUND)
            list(APPEND lacking ${package})
        endif()
    endforeach()
    foreach(module IN LISTS ARG_MODULES)
        if(PKG_CONFIG_FOUND)
            pkg_check_modules(${module} QUIET IMPORTED_TARGET GLOBAL ${module})
        endif()
        if(NOT ${module}_FOUND)
            list(APPEND lacking ${module})
        endif()
    endforeach()
    if(lacking)
        list(JOIN lacking ", " lacking)
        message(FATAL_ERROR "${option} needs what is not installed here: ${lacking}. "
            "Either run script/bootstrap, which installs it, or configure with -D${option}=OFF.")
    endif()
endfunction()

localstorage_needs(LOCALSTORAGE_TOOL PACKAGES CLI11 nlohmann_json
    MODULES libavformat libavcodec libavutil libswscale libmicrohttpd)
localstorage_needs(LOCALSTORAGE_TESTS PACKAGES GTest MODULES libavformat libavcodec libavutil)
localstorage_needs(LOCALSTORAGE_BENCH PACKAGES benchmark spdlog SQLite3
    MODULES libavcodec libavutil)
