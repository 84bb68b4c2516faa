if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
    set_property(CACHE CMAKE_INSTALL_PREFIX PROPERTY VALUE ${CMAKE_BINARY_DIR}/installed)
endif()
# The files that "cmake --install" copies into a folder, and tools/package.sh into the package.
install(PROGRAMS $<TARGET_FILE:norvane64> $<TARGET_FILE:norvane64-rehearse> DESTINATION .)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md rehearsal/check.cmd DESTINATION .)
install(FILES docs/trace.md docs/kept-behaviour.md DESTINATION docs)
install(FILES resources/licences.md DESTINATION licences RENAME README.md)
# The programs contain the runtime and the C++ library: their licences as Debian ships them, and the texts
# that these name.
foreach(package mingw-w64-x86-64-dev g++-mingw-w64-x86-64-${NORVANE_THREADS})
    install(FILES /usr/share/doc/${package}/copyright DESTINATION licences RENAME ${package}.txt)
endforeach()
foreach(licence Artistic GFDL-1.2 GPL-2 GPL-3 LGPL-2 LGPL-2.1)
    install(FILES /usr/share/common-licenses/${licence} DESTINATION licences RENAME ${licence}.txt)
endforeach()
# A sum for each installed file, but not for other files of the folder.
install(CODE [[
    set(sums "")
    list(SORT CMAKE_INSTALL_MANIFEST_FILES)
    foreach(file IN LISTS CMAKE_INSTALL_MANIFEST_FILES)
        file(SHA256 "$ENV{DESTDIR}${file}" sum)
        file(RELATIVE_PATH name "${CMAKE_INSTALL_PREFIX}" "${file}")
        string(APPEND sums "${sum}  ${name}\n")
    endforeach()
    file(WRITE "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/SHA256SUMS" "${sums}")]])
