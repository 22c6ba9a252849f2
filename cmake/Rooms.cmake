# How this project declares its rooms, tests and benchmarks.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
find_package(Threads REQUIRED)

# An installed program finds the library beside it, wherever the tree was put.
file(RELATIVE_PATH libdir_from_bindir ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
if(APPLE)
    set(origin @loader_path)
else()
    set(origin $ORIGIN)
endif()
set(CMAKE_INSTALL_RPATH ${origin}/${libdir_from_bindir})

# What every target of this project is compiled with.
add_library(localstorage_flags INTERFACE)
target_compile_options(localstorage_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow
    $<$<CXX_COMPILER_ID:Clang,AppleClang>:-Wthread-safety>
    # g++ 12 sees overlapping copies in std::string where there are none.
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
    $<$<BOOL:${LOCALSTORAGE_WERROR}>:-Werror>)
target_include_directories(localstorage_flags INTERFACE ${PROJECT_SOURCE_DIR}/include)
target_link_libraries(localstorage_flags INTERFACE Threads::Threads)
if(LOCALSTORAGE_SANITIZE)
    target_compile_options(localstorage_flags INTERFACE
        -fsanitize=${LOCALSTORAGE_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(localstorage_flags INTERFACE -fsanitize=${LOCALSTORAGE_SANITIZE})
    if(LOCALSTORAGE_SANITIZE MATCHES "undefined")
        target_compile_options(localstorage_flags INTERFACE -fno-sanitize-recover=undefined)
    endif()
endif()

# localstorage_headers(TARGET FOLDER): TARGET's headers are included as "Folder/File.h", from an
# include folder that holds this folder and no other, so whoever links TARGET sees them, with what
# TARGET stands on, and nothing else.
function(localstorage_headers target folder)
    cmake_path(GET folder FILENAME name)
    set(headers ${PROJECT_BINARY_DIR}/headers/${target})
    file(MAKE_DIRECTORY ${headers})
    file(CREATE_LINK ${folder} ${headers}/${name} SYMBOLIC)
    target_include_directories(${target} PUBLIC ${headers})
endfunction()

# localstorage_room(NAME SOURCES source... [STANDS_ON room...]): the room of the library in this
# folder, as objects that the library and the tests link alike.
function(localstorage_room name)
    cmake_parse_arguments(ARG "" "" "SOURCES;STANDS_ON" ${ARGN})
    list(TRANSFORM ARG_STANDS_ON PREPEND room_)
    add_library(room_${name} OBJECT ${ARG_SOURCES})
    localstorage_headers(room_${name} ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(room_${name} PUBLIC localstorage_flags ${ARG_STANDS_ON})
endfunction()

# localstorage_sees(TARGET room...): TARGET includes the rooms' headers and links nothing of them.
function(localstorage_sees target)
    foreach(room IN LISTS ARGN)
        target_include_directories(${target} PUBLIC
            $<TARGET_PROPERTY:room_${room},INTERFACE_INCLUDE_DIRECTORIES>)
    endforeach()
endfunction()

# localstorage_precompiled(NAME HEADERS header... LIBRARIES library...): large headers of others,
# compiled once. A target that is compiled with the same flags takes them by
# target_precompile_headers(TARGET REUSE_FROM NAME); its sources include what they use all the same.
function(localstorage_precompiled name)
    cmake_parse_arguments(ARG "" "" "HEADERS;LIBRARIES" ${ARGN})
    file(CONFIGURE OUTPUT ${name}.cpp CONTENT "")  # no library without a source
    add_library(${name} OBJECT ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
    target_precompile_headers(${name} PRIVATE ${ARG_HEADERS})
    target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES})
endfunction()

# What tests are compiled with: all as position-independent as libraries are, or they could not share
# precompiled headers. Nobody waits for their own code, so little is spent on optimising it.
add_library(localstorage_test_flags INTERFACE)
target_compile_options(localstorage_test_flags INTERFACE -fPIC $<$<CONFIG:Release>:-O1>)
target_include_directories(localstorage_test_flags INTERFACE ${PROJECT_SOURCE_DIR}/tests)
target_link_libraries(localstorage_test_flags INTERFACE localstorage_flags GTest::gmock)

# localstorage_test(NAME SOURCES source... ROOMS room... [LIBRARIES library...] [LABELS label...]
# [FIXTURES fixture...]): one test program, each of whose cases is a test of its own and needs the
# fixtures. The label "threads" has it run under ThreadSanitizer too.
function(localstorage_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;ROOMS;LIBRARIES;LABELS;FIXTURES" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_precompile_headers(${name} REUSE_FROM test_headers)
    target_link_libraries(${name} PRIVATE localstorage_test_flags ${ARG_LIBRARIES} GTest::gtest_main)
    foreach(room IN LISTS ARG_ROOMS)
        target_link_libraries(${name} PRIVATE room_${room})
    endforeach()
    set(properties)
    if(ARG_LABELS)
        list(APPEND properties LABELS ${ARG_LABELS})
    endif()
    if(threads IN_LIST ARG_LABELS)
        add_dependencies(threads_tests ${name})
    endif()
    if(ARG_FIXTURES)
        list(APPEND properties FIXTURES_REQUIRED ${ARG_FIXTURES})
    endif()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES ${properties})
endfunction()
