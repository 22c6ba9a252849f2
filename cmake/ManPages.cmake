# The manual pages that are no program's: of the library, made from its headers, and of what lies on
# disk, made from its page of docs/, where lowdown is installed.

set(man ${PROJECT_BINARY_DIR}/man)

file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/localstorage/*.h)
set(man3 ${PROJECT_SOURCE_DIR}/cmake/man3.awk ${PROJECT_SOURCE_DIR}/cmake/man3.txt ${headers})
add_custom_command(OUTPUT ${man}/man3/liblocalstorage.3
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${man}/man3
    COMMAND ${CMAKE_COMMAND} -E make_directory ${man}/man3
    COMMAND awk -v version=${PROJECT_VERSION} -v out=${man}/man3 -f ${man3}
    DEPENDS ${man3}
    VERBATIM)
set(pages ${man}/man3/liblocalstorage.3)

find_program(LOWDOWN lowdown)
if(LOWDOWN)
    set(files ${man}/man5/localstorage-files.5)
    set(man5 ${PROJECT_SOURCE_DIR}/cmake/man5.sh ${LOWDOWN} ${PROJECT_VERSION}
        ${PROJECT_SOURCE_DIR}/docs/on-disk.md)
    add_custom_command(OUTPUT ${files}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${man}/man5
        COMMAND ${man5} > ${files}
        DEPENDS ${PROJECT_SOURCE_DIR}/cmake/man5.sh ${PROJECT_SOURCE_DIR}/docs/on-disk.md
        VERBATIM)
    list(APPEND pages ${files})
endif()

add_custom_target(man_pages ALL DEPENDS ${pages})
install(DIRECTORY ${man}/ DESTINATION ${CMAKE_INSTALL_MANDIR})
