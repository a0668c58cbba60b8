# Helpers for the subsystem folders: add sources to the library's objects, and name the headers that form
# the public interface (installed for hosts).
function(sonacore_sources)
    target_sources(sonacore_objects PRIVATE ${ARGN})
endfunction()

function(sonacore_public_headers)
    foreach(header ${ARGN})
        file(RELATIVE_PATH relative ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/${header})
        set_property(GLOBAL APPEND PROPERTY SONACORE_PUBLIC_HEADERS ${relative})
    endforeach()
endfunction()
