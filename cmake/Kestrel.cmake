# Warnings, sanitizers and the one way in which a folder becomes a library with its unit tests.

set(KESTREL_WARNINGS
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor -Wcast-qual
    -Wformat=2 -Wundef -Wimplicit-fallthrough -Wmissing-declarations -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # g++ 12 sees overlapping copies in std::string's operator+ at -O2 where there are none, and texts of a negative length.
    list(APPEND KESTREL_WARNINGS -Wduplicated-cond -Wlogical-op -Wno-restrict -Wno-stringop-overflow)
elseif(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    list(APPEND KESTREL_WARNINGS -Wshadow-all -Wcomma -Wextra-semi -Wunreachable-code-aggressive
        -Wmissing-variable-declarations -Wunused-member-function)
endif()

# A product and a sum are rounded one after the other, also where a machine could do both at once.
add_compile_options(-ffp-contract=off)

# Files beyond 2 GB on systems of 32 bits, too.
add_compile_definitions(_FILE_OFFSET_BITS=64)

if(KESTREL_SANITIZE)
    # -g1 is enough for the lines in their reports, and builds and links faster.
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
    add_link_options(-fsanitize=address,undefined)
    add_compile_definitions(KESTREL_SANITIZED)
endif()

if(KESTREL_THREADS)
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer -g1)
    add_link_options(-fsanitize=thread)
    add_compile_definitions(KESTREL_SANITIZED)
endif()

if(KESTREL_TINY_LIMITS)
    add_compile_definitions(KESTREL_TINY_LIMITS)
endif()
if(KESTREL_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
if(KESTREL_FUZZ)
    add_compile_options(-O1 -fsanitize=fuzzer-no-link)
endif()

# What nearly every source reads is read once for each target, where nothing is optimised: with optimisation g++ 12 takes
# another way through these headers and sees faults in them that are none. That no source relies on it, the optimised
# build shows, which goes without.
function(kestrel_precompile NAME)
    if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
        return()
    endif()
    set(HEADERS algorithm array cstdint cstring functional map memory optional span string string_view unordered_map
        utility vector)
    list(TRANSFORM HEADERS REPLACE "(.+)" "$<$<COMPILE_LANGUAGE:CXX>:<\\1$<ANGLE-R>>")
    target_precompile_headers(${NAME} PRIVATE ${HEADERS} ${ARGN})
endfunction()

# A program of tests. Their framework is most of what the compiler reads in them, so it is read once; and how fast tests
# themselves run makes no difference.
function(kestrel_test_program NAME)
    find_package(GTest REQUIRED)
    add_executable(${NAME} ${ARGN})
    target_compile_options(${NAME} PRIVATE ${KESTREL_WARNINGS} $<$<CONFIG:Release>:-O0>)
    target_precompile_headers(${NAME} PRIVATE <gtest/gtest.h>)
    target_link_libraries(${NAME} PRIVATE GTest::gtest_main)
endfunction()

# Where nothing is optimised several sources of a target are compiled as one, since what they include is most of the work.
# So names of internal things must differ from those of the neighbours; ALONE are sources that cannot do with any. That
# each source of the libraries stands by itself, the optimised build shows, which goes without this, too.
function(kestrel_group NAME)
    cmake_parse_arguments(ARG "" "" "ALONE" ${ARGN})
    if(CMAKE_BUILD_TYPE STREQUAL "Debug")
        set_target_properties(${NAME} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
        set_source_files_properties(${ARG_ALONE} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
    endif()
endfunction()

# kestrel_library(folder SOURCES ... [GENERATED ...] [LINK ...] [TESTS ...])
# Generated sources (scanner, parser) are built without our warnings. TESTS are the x_test.cpp files beside the sources;
# they become one program `folder_test`. Another, `folder_link`, takes every object of the library and links it with LINK
# alone, so that the build fails when the folder uses anything from above.
function(kestrel_library NAME)
    cmake_parse_arguments(ARG "" "" "SOURCES;GENERATED;LINK;TESTS" ${ARGN})
    add_library(kestrel_${NAME} STATIC ${ARG_SOURCES})
    target_include_directories(kestrel_${NAME} PUBLIC ${CMAKE_SOURCE_DIR})
    target_compile_options(kestrel_${NAME} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:${KESTREL_WARNINGS}>)
    target_link_libraries(kestrel_${NAME} PUBLIC ${ARG_LINK})
    kestrel_precompile(kestrel_${NAME})
    if(ARG_GENERATED)
        add_library(kestrel_${NAME}_generated OBJECT ${ARG_GENERATED})
        target_include_directories(kestrel_${NAME}_generated PRIVATE ${CMAKE_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
        target_sources(kestrel_${NAME} PRIVATE $<TARGET_OBJECTS:kestrel_${NAME}_generated>)
    endif()
    if(KESTREL_TESTS)
        add_executable(${NAME}_link ${CMAKE_SOURCE_DIR}/tests/link_alone.cpp)
        target_link_libraries(${NAME}_link PRIVATE $<LINK_LIBRARY:WHOLE_ARCHIVE,kestrel_${NAME}>)
    endif()
    if(KESTREL_TESTS AND ARG_TESTS)
        kestrel_test_program(${NAME}_test ${ARG_TESTS})
        target_link_libraries(${NAME}_test PRIVATE kestrel_${NAME})
        add_test(NAME unit.${NAME} COMMAND ${NAME}_test)
    endif()
endfunction()
