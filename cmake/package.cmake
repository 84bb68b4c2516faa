# What "cmake --install" puts into a folder, and tools/package.sh into the package.
install(PROGRAMS $<TARGET_FILE:norvane64> $<TARGET_FILE:norvane64-rehearse> DESTINATION .)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md DESTINATION .)
install(FILES docs/trace.md docs/kept-behaviour.md DESTINATION docs)
# The runtime and the C++ library are linked in: their licences as Debian ships them, and the text that they refer to.
foreach(package mingw-w64-x86-64-dev g++-mingw-w64-x86-64-${NORVANE_THREADS})
    install(FILES /usr/share/doc/${package}/copyright DESTINATION licences RENAME ${package}.txt)
endforeach()
install(FILES /usr/share/common-licenses/GPL-3 DESTINATION licences RENAME GPL-3.txt)
install(CODE "execute_process(COMMAND \"${CMAKE_SOURCE_DIR}/tools/sums.sh\" \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\"
    COMMAND_ERROR_IS_FATAL ANY)")
