# What a host may call, and nothing else: exports.txt names it, and exports-c.txt the C interface; the
# linkers are told in their words.

# localstorage_export_only(TARGET LIST C_LIST): TARGET exports the C names in the file LIST, and those
# in C_LIST under a version of their own. The names of LIST never had one, which a linker script can
# leave them only by not naming them; beside them there are none but those of C++.
function(localstorage_export_only target list c_list)
    file(STRINGS ${list} names)
    file(STRINGS ${c_list} c_names)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list} ${c_list})
    if(APPLE)
        set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.exports)
        list(APPEND names ${c_names})
        list(TRANSFORM names PREPEND _)
        list(JOIN names "\n" lines)
        file(CONFIGURE OUTPUT ${script} CONTENT "@lines@\n" @ONLY)
        target_link_options(${target} PRIVATE LINKER:-exported_symbols_list,${script})
    else()
        set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
        list(TRANSFORM c_names APPEND "\;")
        list(JOIN c_names " " lines)
        file(CONFIGURE OUTPUT ${script}
            CONTENT "LOCALSTORAGE_C_1 { global: @lines@ local: _*; };\n" @ONLY)
        target_link_options(${target} PRIVATE LINKER:--version-script=${script})
    endif()
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
endfunction()
