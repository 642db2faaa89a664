# SPDX-License-Identifier: MIT
# Settings that every target shares, and the two functions with which folders declare their targets.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_COMPILE_OPTIONS_PIE -fPIC) # so that programs and libraries share precompiled headers
# Every program lands in the top of the build folder, where the console finds its compute service.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})

set(SL42_SANITIZE "" CACHE STRING "Sanitizer to build with: address, undefined, thread or empty")

find_program(SL42_CCACHE ccache)
if(SL42_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${SL42_CCACHE})
endif()
find_program(SL42_LLD NAMES ld.lld-19 ld.lld)
if(SL42_LLD)
    add_link_options(-fuse-ld=${SL42_LLD})
endif()
option(SL42_FUZZ "Build for fuzz/, with what libFuzzer needs to see where an input leads" OFF)
if(SL42_SANITIZE)
    # A finding ends the program, or no test would notice. LLVM comes without the type information
    # that the check of dynamic types needs.
    add_compile_options(-fsanitize=${SL42_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${SL42_SANITIZE})
    if(SL42_SANITIZE MATCHES undefined)
        add_compile_options(-fno-sanitize=vptr)
        add_link_options(-fno-sanitize=vptr)
    endif()
endif()
# ThreadSanitizer wants addresses that the service keeps for kernels, and knows nothing of what LLVM
# does. So the console is built with it and talks to a service that was built without.
set(SL42_SERVICE_FROM "" CACHE PATH "Build folder whose compute service is used; empty: our own")
if(SL42_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
# Line tables are enough for the stack traces that we read, and they link quickly.
add_compile_options($<$<CONFIG:Debug>:-gline-tables-only>)

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)

function(sl42_settings target)
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Werror
        $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
endfunction()

file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/Empty.cpp CONTENT "")

# sl42_precompiled(NAME LINK ... HEADERS ...): headers of large libraries that are parsed once for all
# targets declared where SL42_PRECOMPILED is NAME: more than half of a build went into parsing them.
# Every file still includes what it needs: CMAKE_DISABLE_PRECOMPILE_HEADERS shows what is missing.
function(sl42_precompiled name)
    cmake_parse_arguments(ARG "" "" "LINK;HEADERS" ${ARGN})
    add_library(${name} OBJECT ${CMAKE_BINARY_DIR}/Empty.cpp)
    sl42_settings(${name})
    target_link_libraries(${name} PRIVATE ${ARG_LINK})
    target_precompile_headers(${name} PRIVATE ${ARG_HEADERS})
endfunction()

function(sl42_reuse_precompiled target)
    if(SL42_PRECOMPILED)
        target_precompile_headers(${target} REUSE_FROM ${SL42_PRECOMPILED})
    endif()
endfunction()

# sl42_library(NAME SOURCES ... [PUBLIC_LINK ...] [LINK ...])
function(sl42_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC_LINK;LINK" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    sl42_settings(${name})
    sl42_reuse_precompiled(${name})
    target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LINK} PRIVATE ${ARG_LINK})
    sl42_links_alone(${name})
endfunction()

# sl42_links_alone(NAME): the whole of a library, linked with what it names and nothing else, must leave
# nothing undefined. A program would not notice: it also links the folders above.
function(sl42_links_alone name)
    if(SL42_SANITIZE OR SL42_FUZZ) # whose runtimes only programs have
        return()
    endif()
    add_library(${name}_alone MODULE ${CMAKE_BINARY_DIR}/Empty.cpp)
    target_link_libraries(${name}_alone PRIVATE $<LINK_LIBRARY:WHOLE_ARCHIVE,${name}>)
    target_link_options(${name}_alone PRIVATE -Wl,-z,defs)
    set_target_properties(${name}_alone PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/alone)
endfunction()

# sl42_executable(NAME SOURCES ... [LINK ...])
function(sl42_executable name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    sl42_settings(${name})
    if(NOT SL42_LEVEL) # which the precompiled headers do not have
        sl42_reuse_precompiled(${name})
    endif()
    target_link_libraries(${name} PRIVATE ${ARG_LINK})
endfunction()

# sl42_program_from(FOLDER PATH): a program of another build, linked to where it would be in this one.
function(sl42_program_from folder path)
    get_filename_component(name ${path} NAME)
    get_filename_component(place ${CMAKE_BINARY_DIR}/${path} DIRECTORY)
    file(MAKE_DIRECTORY ${place})
    file(CREATE_LINK ${folder}/${path} ${CMAKE_BINARY_DIR}/${path} SYMBOLIC)
    add_executable(${name} IMPORTED GLOBAL)
    set_target_properties(${name} PROPERTIES IMPORTED_LOCATION ${CMAKE_BINARY_DIR}/${path})
endfunction()

# sl42_test(NAME SOURCES ... [LINK ...] [TIMEOUT seconds] [COST seconds] [ALONE] [AT_WIDTHS n...]
# [ON_VULKAN tests] [LEVEL level]): one GoogleTest program. COST is about what it takes, of those that
# take long: they begin first, so that no processor is idle in the end. With ALONE no other one runs
# beside it, because it measures time. With AT_WIDTHS it also runs once for each of these numbers of threads that kernels run at once.
# With ON_VULKAN those of its tests also run once with programs on a device that has a Vulkan driver,
# the validation layer looking on. With LEVEL (x86-64-v2 to -v4) it is compiled for that level of the
# processor, and skipped on a processor below it.
function(sl42_test name)
    cmake_parse_arguments(ARG "ALONE" "TIMEOUT;COST;LEVEL;ON_VULKAN" "SOURCES;LINK;AT_WIDTHS" ${ARGN})
    set(SL42_LEVEL ${ARG_LEVEL})
    sl42_executable(${name} SOURCES ${ARG_SOURCES} LINK ${ARG_LINK} GTest::gtest_main)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 600)
    endif()
    if(NOT ARG_COST)
        set(ARG_COST 1)
    endif()
    set(environment "XDG_CACHE_HOME=${CMAKE_BINARY_DIR}/cache;SL42_COMPUTE=${CMAKE_BINARY_DIR}/starloom-compute;SL42_SOURCE_DIR=${PROJECT_SOURCE_DIR};SL42_BUILD_DIR=${CMAKE_BINARY_DIR};SL42_VERIFY=1")
    if(SL42_SANITIZE MATCHES thread)
        list(APPEND environment
            "TSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/tsan-suppressions.txt")
    endif()
    if(ARG_LEVEL)
        target_compile_options(${name} PRIVATE -march=${ARG_LEVEL})
        set(launcher ${PROJECT_SOURCE_DIR}/tests/on_processor_level.sh ${ARG_LEVEL})
    endif()
    add_test(NAME ${name} COMMAND ${launcher} $<TARGET_FILE:${name}>)
    set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} COST ${ARG_COST}
        ENVIRONMENT "${environment}")
    if(ARG_ALONE)
        set_tests_properties(${name} PROPERTIES RUN_SERIAL ON)
    endif()
    if(ARG_LEVEL)
        set_tests_properties(${name} PROPERTIES SKIP_RETURN_CODE 77)
    endif()
    if(ARG_ON_VULKAN)
        add_test(NAME ${name}_vulkan COMMAND ${name} --gtest_filter=${ARG_ON_VULKAN})
        set_tests_properties(${name}_vulkan PROPERTIES TIMEOUT 900 COST ${ARG_COST}
            ENVIRONMENT "${environment};SL42_DEVICE=vulkan;SL42_VULKAN_VALIDATION=1")
    endif()
    foreach(width ${ARG_AT_WIDTHS})
        add_test(NAME ${name}_${width} COMMAND ${name})
        set_tests_properties(${name}_${width} PROPERTIES TIMEOUT ${ARG_TIMEOUT} COST ${ARG_COST}
            ENVIRONMENT "${environment};SL42_SIMD=${width}")
    endforeach()
endfunction()
