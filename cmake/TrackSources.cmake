# Targets glob their sources. With Ninja, CMake 3.25 re-runs moc only when a
# file it already knew changes, so a new Q_OBJECT header in a globbed target
# would link without its meta-object code. When the list of sources changes,
# dropping the autogen stamp makes the next build run moc again.
function(velmora_track_sources target)
    get_target_property(sources ${target} SOURCES)
    string(JOIN "\n" listing ${sources})
    set(list_file ${CMAKE_CURRENT_BINARY_DIR}/${target}_sources.txt)
    set(previous "")
    if(EXISTS ${list_file})
        file(READ ${list_file} previous)
    endif()
    if(NOT previous STREQUAL listing)
        file(WRITE ${list_file} "${listing}")
        file(REMOVE ${CMAKE_CURRENT_BINARY_DIR}/${target}_autogen/timestamp)
    endif()
endfunction()
