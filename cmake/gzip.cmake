# Debian wants man pages and changelogs compressed with gzip -9n (no name or
# time stamp in the header, so that the bytes depend on the content alone).
find_program(GZIP_PROGRAM gzip REQUIRED)

# Adds to TARGET (a custom target) the compression of INPUT into OUTPUT.
function(gzip_file target input output)
    add_custom_command(OUTPUT ${output}
        COMMAND ${GZIP_PROGRAM} -9n -c ${input} > ${output}
        DEPENDS ${input}
        VERBATIM)
    set_property(TARGET ${target} APPEND PROPERTY SOURCES ${output})
endfunction()
