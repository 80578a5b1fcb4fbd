# lumo_options: what every target of this project compiles with. Link it privately.
set(LUMO_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize takes them; empty for none")

find_package(Threads REQUIRED)

add_library(lumo_options INTERFACE)
target_include_directories(lumo_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(lumo_options INTERFACE -Wall -Wextra -Wshadow -Wconversion -Werror)
# File sizes and times of 64 bits on the 32-bit board as well.
target_compile_definitions(lumo_options INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
target_link_options(lumo_options INTERFACE -Wl,--as-needed)

option(LUMO_FUZZ "Build the fuzz targets for libFuzzer instead of as tests" OFF)
if(LUMO_FUZZ)
    target_compile_options(lumo_options INTERFACE -fsanitize=fuzzer-no-link)
    target_link_options(lumo_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

if(LUMO_SANITIZE)
    target_compile_options(lumo_options INTERFACE
        -fsanitize=${LUMO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(lumo_options INTERFACE -fsanitize=${LUMO_SANITIZE})
endif()
