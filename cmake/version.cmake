# Writes the header HEADER with the version of a build of the folder SOURCE. It is VERSION for a clean
# checkout of the commit with the tag vVERSION, and for sources without git. Every other checkout gives
# VERSION-dev+COMMIT.
set(version ${VERSION})
if(EXISTS ${SOURCE}/.git)
    set(git git -C ${SOURCE})
    execute_process(COMMAND ${git} rev-parse HEAD
        OUTPUT_VARIABLE commit ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
    execute_process(COMMAND ${git} tag --points-at HEAD --list v${VERSION} OUTPUT_VARIABLE tag ERROR_QUIET)
    execute_process(COMMAND ${git} status --porcelain OUTPUT_VARIABLE changes ERROR_QUIET)
    if(NOT tag OR changes)
        string(SUBSTRING "${commit}" 0 12 commit)
        if(NOT commit)
            set(commit unknown)
        endif()
        string(APPEND version -dev+${commit})
    endif()
endif()
# The file is not touched when it has this content already.
file(CONFIGURE OUTPUT ${HEADER} CONTENT "#define NORVANE_VERSION \"${version}\"\n" @ONLY)
