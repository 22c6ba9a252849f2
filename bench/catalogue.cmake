# The tool, asked about many record directories.
if(TARGET localstorage_tool)
    localstorage_bench(catalogue_bench SOURCES catalogue.cpp ROOMS)
    target_compile_definitions(catalogue_bench PRIVATE TOOL="$<TARGET_FILE:localstorage_tool>")
    add_dependencies(catalogue_bench localstorage_tool)
endif()
