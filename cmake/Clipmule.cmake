# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT

# What every target of this project has in common.

include(GNUInstallDirs)
include(CTest)

option(CLIPMULE_SANITIZE "Build with the address, undefined-behaviour and leak sanitizers" OFF)
option(CLIPMULE_SANITIZE_THREADS "Build with the thread sanitizer" OFF)
option(CLIPMULE_FUZZ "Build the fuzz targets with libFuzzer (clang only)" OFF)
option(CLIPMULE_BENCH "Build the benchmarks" OFF)
option(CLIPMULE_PRECOMPILED "Precompile the toolkit's headers; a missing include then goes unseen" OFF)
option(CLIPMULE_CCACHE "Compile through ccache, where it is installed" OFF)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_AUTOMOC ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

find_program(CCACHE_PROGRAM ccache)
if(CLIPMULE_CCACHE AND CCACHE_PROGRAM)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
    if(CLIPMULE_PRECOMPILED)
        # Without these it keeps nothing that was compiled with a precompiled header.
        set(CMAKE_CXX_COMPILER_LAUNCHER
            env CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE_PROGRAM})
    endif()
endif()

# Leaving out members is what designated initialisers are for; g++ warns of them as of the others.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
                    -Wcast-align -Wimplicit-fallthrough -Wno-missing-field-initializers)
add_compile_definitions(QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII
                        QT_NO_CAST_FROM_BYTEARRAY QT_NO_NARROWING_CONVERSIONS_IN_CONNECT)
if(CLIPMULE_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    # With the checks in between, g++ cannot see any more that an optional is looked at first.
    add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    add_link_options(-fsanitize=address,undefined)
endif()
if(CLIPMULE_SANITIZE_THREADS)
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
endif()
if(CLIPMULE_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# clipmule_precompiled(<target> <set>)
# Compiles a target with one of the two sets of precompiled headers: toolkit, for the product, and
# tests. What only some targets link against is in neither.
set(CLIPMULE_PRECOMPILED_FOLDER ${CMAKE_CURRENT_LIST_DIR})
function(clipmule_precompiled target set)
    if(NOT CLIPMULE_PRECOMPILED)
        return()
    endif()
    if(NOT TARGET clipmule_precompiled_${set})
        file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/precompiled/${set}.cpp CONTENT "")
        add_library(clipmule_precompiled_${set} STATIC ${CMAKE_BINARY_DIR}/precompiled/${set}.cpp)
        set_target_properties(clipmule_precompiled_${set} PROPERTIES AUTOMOC OFF)
        target_link_libraries(clipmule_precompiled_${set} PRIVATE Qt6::Core)
        if(set STREQUAL tests)
            clipmule_use_test_library(clipmule_precompiled_tests)
        endif()
        target_precompile_headers(clipmule_precompiled_${set} PRIVATE
                                  ${CLIPMULE_PRECOMPILED_FOLDER}/precompiled_${set}.hxx)
    endif()
    target_precompile_headers(${target} REUSE_FROM clipmule_precompiled_${set})
endfunction()

# Qt's test library without the definitions that differ from folder to folder, which no precompiled
# header could be shared with; and code that is compiled quickly rather than well.
function(clipmule_use_test_library target)
    target_include_directories(${target} SYSTEM PRIVATE
        $<TARGET_PROPERTY:Qt6::Test,INTERFACE_INCLUDE_DIRECTORIES>)
    target_compile_definitions(${target} PRIVATE QT_TESTLIB_LIB)
    target_link_libraries(${target} PRIVATE $<TARGET_FILE:Qt6::Test>)
    if(CLIPMULE_PRECOMPILED)
        target_compile_options(${target} PRIVATE -O1)
    endif()
endfunction()

# clipmule_library(<folder> SOURCES ... [LINK ...] [PRIVATE_LINK ...])
# Static library clipmule_<folder> with the alias Clipmule::<folder>; includes are from the root.
function(clipmule_library folder)
    cmake_parse_arguments(arg "" "" "SOURCES;LINK;PRIVATE_LINK" ${ARGN})
    add_library(clipmule_${folder} STATIC ${arg_SOURCES})
    add_library(Clipmule::${folder} ALIAS clipmule_${folder})
    target_include_directories(clipmule_${folder} PUBLIC ${PROJECT_SOURCE_DIR})
    target_link_libraries(clipmule_${folder} PUBLIC Qt6::Core ${arg_LINK} PRIVATE ${arg_PRIVATE_LINK})
    clipmule_precompiled(clipmule_${folder} toolkit)
endfunction()

# clipmule_program(<name> SOURCES ... [LINK ...])
function(clipmule_program name)
    cmake_parse_arguments(arg "" "" "SOURCES;LINK" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE ${arg_LINK})
    target_compile_definitions(${name} PRIVATE CLIPMULE_VERSION="${PROJECT_VERSION}")
    clipmule_precompiled(${name} toolkit)
    install(TARGETS ${name} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endfunction()

# The class of a test stands in its source, which includes what moc makes of it. Called directly: one
# step for a test instead of the three that looking for such classes takes.
function(clipmule_moc name)
    set(made ${CMAKE_CURRENT_BINARY_DIR}/${name}_moc)
    foreach(source ${ARGN})
        get_filename_component(stem ${source} NAME_WE)
        if(stem MATCHES "^tst_")
            add_custom_command(OUTPUT ${made}/${stem}.moc
                COMMAND Qt6::moc -I ${PROJECT_SOURCE_DIR} -o ${made}/${stem}.moc
                        ${CMAKE_CURRENT_SOURCE_DIR}/${source}
                DEPENDS ${source} VERBATIM)
            target_sources(${name} PRIVATE ${made}/${stem}.moc)
        endif()
    endforeach()
    target_include_directories(${name} PRIVATE ${made})
    set_target_properties(${name} PROPERTIES AUTOMOC OFF)
endfunction()

# clipmule_test(<name> SOURCES ... [LINK ...] [WRAPPER command args...] [TIMEOUT seconds] [LABELS ...])
# A QtTest program, registered with ctest under its name. The wrapper runs it in a private desktop or
# network; its exit status 77 counts as skipped.
function(clipmule_test name)
    cmake_parse_arguments(arg "" "TIMEOUT" "SOURCES;LINK;WRAPPER;LABELS" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE ${arg_LINK} Clipmule::kit)
    clipmule_use_test_library(${name})
    clipmule_precompiled(${name} tests)
    clipmule_moc(${name} ${arg_SOURCES})
    target_compile_definitions(${name} PRIVATE CLIPMULE_TEST_DATA="${PROJECT_SOURCE_DIR}/tests/data"
                               CLIPMULE_BIN="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    add_test(NAME ${name} COMMAND ${arg_WRAPPER} $<TARGET_FILE:${name}>)
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} SKIP_RETURN_CODE 77
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/data/lsan.supp;TSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/data/tsan.supp;UBSAN_OPTIONS=print_stacktrace=1")
    if(arg_WRAPPER)
        set_tests_properties(${name} PROPERTIES
            ENVIRONMENT "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/data/lsan.supp;TSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/data/tsan.supp;UBSAN_OPTIONS=print_stacktrace=1")
    endif()
    if(arg_LABELS)
        set_tests_properties(${name} PROPERTIES LABELS "${arg_LABELS}")
    endif()
endfunction()
