# The version of a build, which a commit and a tag change: every build looks at them.
set(NORVANE_VERSION_HEADER ${CMAKE_BINARY_DIR}/version.h)
add_custom_target(norvane_version
    COMMAND ${CMAKE_COMMAND} -D SOURCE=${CMAKE_SOURCE_DIR} -D VERSION=${PROJECT_VERSION}
        -D HEADER=${NORVANE_VERSION_HEADER} -P ${CMAKE_SOURCE_DIR}/cmake/version.cmake
    BYPRODUCTS ${NORVANE_VERSION_HEADER}
    VERBATIM)

# norvane_ships(TARGET DESCRIPTION LEVEL): makes TARGET a program that ships: hardened, with version resource
# and manifest. Its symbols are in a file beside it, for the analysis of crash dumps. LEVEL is the execution
# level that it requests from Windows.
function(norvane_ships target NORVANE_DESCRIPTION NORVANE_LEVEL)
    set(NORVANE_PROGRAM ${target})
    configure_file(${CMAKE_SOURCE_DIR}/resources/program.manifest.in ${target}.manifest @ONLY)
    configure_file(${CMAKE_SOURCE_DIR}/resources/version.rc.in ${target}.rc @ONLY)
    target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
    set_property(SOURCE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc
        PROPERTY OBJECT_DEPENDS ${NORVANE_VERSION_HEADER})
    add_dependencies(${target} norvane_version)
    set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
    target_link_options(${target} PRIVATE
        -Wl,--gc-sections -Wl,--dynamicbase -Wl,--high-entropy-va -Wl,--nxcompat -mconsole)
    if(NOT NORVANE_SHIPPED)
        return()
    endif()
    add_custom_command(TARGET ${target} POST_BUILD
        # Without SOURCE_DATE_EPOCH both would write the time into the header, and two builds would differ.
        COMMAND ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=0
            x86_64-w64-mingw32-objcopy --only-keep-debug
            $<TARGET_FILE:${target}> $<TARGET_FILE:${target}>.debug
        COMMAND ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=0 x86_64-w64-mingw32-strip $<TARGET_FILE:${target}>
        VERBATIM)
endfunction()
