# SPDX-FileCopyrightText: The Larkspin developers
# SPDX-License-Identifier: GPL-3.0-or-later
#
# Build settings common to every target, and the helpers that declare a library.

add_library(larkspin_settings INTERFACE)
target_compile_options(larkspin_settings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    $<$<BOOL:${LARKSPIN_WERROR}>:-Werror>)
# Functors are copied between threads; Loki's small-object allocator is not made for that.
target_compile_definitions(larkspin_settings INTERFACE
    LOKI_FUNCTOR_IS_NOT_A_SMALLOBJECT _FILE_OFFSET_BITS=64)
target_include_directories(larkspin_settings INTERFACE ${PROJECT_SOURCE_DIR}/src)
target_link_libraries(larkspin_settings INTERFACE Threads::Threads)
if(LARKSPIN_SANITIZE)
    target_compile_options(larkspin_settings INTERFACE
        -fsanitize=${LARKSPIN_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(larkspin_settings INTERFACE -fsanitize=${LARKSPIN_SANITIZE})
endif()

# larkspin_program(<name> <source>...): an installed program that can tell its version.
function(larkspin_program name)
    add_executable(${name} ${ARGN})
    target_compile_definitions(${name} PRIVATE LARKSPIN_VERSION="${PROJECT_VERSION}")
    install(TARGETS ${name})
endfunction()

# larkspin_library(<name> [DEPENDS <library>...]): a static library of every source file in the
# current folder and below it, less the folders named after EXCEPT.
function(larkspin_library name)
    cmake_parse_arguments(ARG "" "" "DEPENDS;EXCEPT" ${ARGN})
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS *.cpp)
    foreach(folder ${ARG_EXCEPT})
        list(FILTER sources EXCLUDE REGEX "${CMAKE_CURRENT_SOURCE_DIR}/${folder}")
    endforeach()
    if(NOT sources) # headers only
        set(sources ${CMAKE_CURRENT_BINARY_DIR}/empty.cpp)
        file(TOUCH ${sources})
    endif()
    add_library(larkspin_${name} STATIC ${sources})
    target_link_libraries(larkspin_${name} PUBLIC larkspin_settings)
    foreach(library ${ARG_DEPENDS})
        target_link_libraries(larkspin_${name} PUBLIC larkspin_${library})
    endforeach()
endfunction()

# larkspin_test_time(<seconds> <variable>): the time-out of a test in this build; instrumented code
# takes several times as long.
function(larkspin_test_time seconds variable)
    if(LARKSPIN_SANITIZE)
        math(EXPR seconds "${seconds} * 10")
    endif()
    set(${variable} ${seconds} PARENT_SCOPE)
endfunction()

# larkspin_test(<name> OF <library>... [LINK <target>...] [TIMEOUT <seconds>]): one
# GoogleTest program of every source file in the current folder, each test known to CTest.
function(larkspin_test name)
    cmake_parse_arguments(ARG "" "TIMEOUT" "OF;LINK" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    larkspin_test_time(${ARG_TIMEOUT} ARG_TIMEOUT)
    file(GLOB sources CONFIGURE_DEPENDS *.cpp)
    if(NOT sources)
        return()
    endif()
    add_executable(test_${name} ${sources})
    target_include_directories(test_${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(test_${name} PRIVATE larkspin_settings GTest::gmock_main
        ${ARG_LINK})
    foreach(library ${ARG_OF})
        target_link_libraries(test_${name} PRIVATE larkspin_${library})
    endforeach()
    larkspin_test_time(60 discovery_time)
    gtest_discover_tests(test_${name}
        TEST_PREFIX "${name}." DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT ${discovery_time}
        PROPERTIES TIMEOUT ${ARG_TIMEOUT})
endfunction()
