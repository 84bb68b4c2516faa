# The options of every target.
add_library(norvane_options INTERFACE)
target_compile_definitions(norvane_options INTERFACE
    WINVER=0x0601 _WIN32_WINNT=0x0601 WIN32_LEAN_AND_MEAN NOMINMAX
    # The Windows runtime's own printf family: the texts rely on its %ls, %ws and %S.
    __USE_MINGW_ANSI_STDIO=0)
target_compile_options(norvane_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wformat=2
    "-ffile-prefix-map=${CMAKE_SOURCE_DIR}=.")
target_link_options(norvane_options INTERFACE -static -Wl,--no-insert-timestamp)
if(NORVANE_CHECKED)
    # Without -Og the tests take a fifth more time.
    target_compile_options(norvane_options INTERFACE -g -Og
        -fsanitize=undefined -fsanitize-undefined-trap-on-error -fstack-protector-strong)
    target_compile_definitions(norvane_options INTERFACE _GLIBCXX_ASSERTIONS)
    target_link_options(norvane_options INTERFACE -fstack-protector-strong)
endif()
if(NORVANE_COVERAGE)
    target_compile_options(norvane_options INTERFACE -g -O0 --coverage)
    target_link_options(norvane_options INTERFACE --coverage)
endif()
if(NORVANE_SHIPPED)
    # Both programs are optimised as a whole. The symbols are for the analysis of crash dumps.
    target_compile_options(norvane_options INTERFACE -g1 -flto -ffunction-sections -fdata-sections)
    # In one partition: g++ 12 fails on the rehearsal with two.
    target_link_options(norvane_options INTERFACE -Os -flto -flto-partition=one)
endif()
