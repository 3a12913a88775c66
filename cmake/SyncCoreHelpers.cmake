# Small functions that every area file uses, so that adding a test, a
# benchmark, a fuzz target or a tool command is one call.

if(SYNCCORE_SANITIZE)
    add_compile_options(-fsanitize=${SYNCCORE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=${SYNCCORE_SANITIZE})
endif()

# Source locations in log lines and assertion messages (__FILE__) are paths
# relative to the source tree, whatever folder the tree was built in: Ninja
# names sources relative to a build folder inside the tree ("../../Sync/...")
# and absolute otherwise.
add_compile_options(-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
file(RELATIVE_PATH _synccore_up ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR})
if(_synccore_up AND NOT IS_ABSOLUTE "${_synccore_up}")
    string(REGEX REPLACE "/+$" "" _synccore_up "${_synccore_up}")
    add_compile_options(-fmacro-prefix-map=${_synccore_up}/=)
endif()
unset(_synccore_up)

# In the fuzz build the library itself carries coverage instrumentation, so
# that libFuzzer's feedback reaches into the code a target exercises.
if(SYNCCORE_BUILD_FUZZERS)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Warnings on our own code only; third-party headers come in as system
# includes and stay out of it. Errors only with SYNCCORE_WERROR (the presets).
function(synccore_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra)
    if(SYNCCORE_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()

# synccore_install_rpath(target folder): the installed target finds the
# project's libraries relative to itself, so any --prefix works.
function(synccore_install_rpath target folder)
    if(NOT SYNCCORE_INSTALL_RPATH)
        return()
    endif()
    file(RELATIVE_PATH rel ${CMAKE_INSTALL_PREFIX}/${folder} ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR})
    if(rel STREQUAL "")
        set(rel ".")
    endif()
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${rel}")
endfunction()

# synccore_add_library(target EXPORT_NAME name [EXPORT_SET set])
# A shared library of the package: versioned file name and soname, export
# header <lowercase target>_export.h, hidden symbols but those marked with its
# export macro, installed in the runtime component (link name and export header
# in development) and exported as SyncCore::<name> in the export set (default
# SyncCoreTargets, which the package config always loads).
function(synccore_add_library target)
    cmake_parse_arguments(L "" "EXPORT_NAME;EXPORT_SET" "" ${ARGN})
    if(NOT L_EXPORT_SET)
        set(L_EXPORT_SET SyncCoreTargets)
    endif()
    string(TOLOWER ${target} lower)
    add_library(${target} SHARED)
    add_library(SyncCore::${L_EXPORT_NAME} ALIAS ${target})
    set_target_properties(${target} PROPERTIES
        OUTPUT_NAME ${target}-${PROJECT_VERSION_MAJOR}_${PROJECT_VERSION_MINOR}
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        EXPORT_NAME ${L_EXPORT_NAME})
    generate_export_header(${target}
        BASE_NAME ${target}
        EXPORT_FILE_NAME ${PROJECT_BINARY_DIR}/include/${lower}_export.h)
    target_include_directories(${target} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
        $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/SyncCore>)
    synccore_warnings(${target})
    synccore_install_rpath(${target} ${CMAKE_INSTALL_LIBDIR})
    install(TARGETS ${target} EXPORT ${L_EXPORT_SET}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
    install(FILES ${PROJECT_BINARY_DIR}/include/${lower}_export.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/SyncCore COMPONENT development)
    # The package config and the pkg-config file list the libraries that every
    # consumer gets.
    if(L_EXPORT_SET STREQUAL "SyncCoreTargets")
        set_property(GLOBAL APPEND PROPERTY SYNCCORE_COMPONENTS ${L_EXPORT_NAME})
        set_property(GLOBAL APPEND PROPERTY SYNCCORE_PC_LIBS
            -l${target}-${PROJECT_VERSION_MAJOR}_${PROJECT_VERSION_MINOR})
    endif()
endfunction()

# synccore_add_test(name SOURCES f.cpp... [LIBS lib...] [CONCURRENT] [TIMEOUT s])
# One GoogleTest executable, run by CTest. CONCURRENT marks the tests that the
# ThreadSanitizer build runs.
function(synccore_add_test name)
    if(NOT SYNCCORE_BUILD_TESTS)
        return()
    endif()
    cmake_parse_arguments(T "CONCURRENT" "TIMEOUT" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${T_SOURCES})
    target_link_libraries(${name} PRIVATE synccore_testsupport ${T_LIBS})
    target_precompile_headers(${name} REUSE_FROM synccore_testsupport)
    synccore_warnings(${name})
    add_test(NAME ${name} COMMAND ${name})
    if(NOT T_TIMEOUT)
        set(T_TIMEOUT 300)
    endif()
    set(labels unit)
    if(T_CONCURRENT)
        list(APPEND labels concurrent)
        add_dependencies(synccore_concurrent_tests ${name})
    endif()
    set_tests_properties(${name} PROPERTIES TIMEOUT ${T_TIMEOUT} LABELS "${labels}")
endfunction()

# synccore_add_test_helper(name SOURCES f.cpp... [LIBS lib...])
# A small program that tests start as a real child process.
function(synccore_add_test_helper name)
    if(NOT SYNCCORE_BUILD_TESTS)
        return()
    endif()
    cmake_parse_arguments(T "" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${T_SOURCES})
    target_link_libraries(${name} PRIVATE KvSyncCore Qt6::Core ${T_LIBS})
    synccore_warnings(${name})
    add_dependencies(synccore_concurrent_tests ${name})
endfunction()

# synccore_add_fuzz(name SOURCES f.cpp... [LIBS lib...])
# With SYNCCORE_BUILD_FUZZERS (clang), a libFuzzer executable; in every test
# build, a CTest case that replays fuzz/corpus/<name>/ and a fixed set of
# pseudo-random inputs through the same entry point.
function(synccore_add_fuzz name)
    cmake_parse_arguments(T "" "" "SOURCES;LIBS" ${ARGN})
    if(SYNCCORE_BUILD_FUZZERS)
        add_executable(${name} ${T_SOURCES})
        target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
        target_link_options(${name} PRIVATE -fsanitize=fuzzer)
        target_link_libraries(${name} PRIVATE KvSyncCore Qt6::Core ${T_LIBS})
        add_dependencies(synccore_fuzzers ${name})
    endif()
    if(SYNCCORE_BUILD_TESTS)
        add_executable(${name}_replay ${T_SOURCES} ${PROJECT_SOURCE_DIR}/fuzz/replaymain.cpp)
        target_link_libraries(${name}_replay PRIVATE KvSyncCore Qt6::Core ${T_LIBS})
        synccore_warnings(${name}_replay)
        add_test(NAME ${name}_replay
            COMMAND ${name}_replay ${PROJECT_SOURCE_DIR}/fuzz/corpus/${name})
        set_tests_properties(${name}_replay PROPERTIES TIMEOUT 300 LABELS "fuzz")
    endif()
endfunction()

# synccore_add_bench(name SOURCES f.cpp... [LIBS lib...])
function(synccore_add_bench name)
    if(NOT SYNCCORE_BUILD_BENCHMARKS)
        return()
    endif()
    cmake_parse_arguments(T "" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${T_SOURCES})
    target_link_libraries(${name} PRIVATE KvSyncCore Qt6::Core benchmark::benchmark ${T_LIBS})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/bench)
    add_dependencies(synccore_benchmarks ${name})
endfunction()

# synccore_add_tool_sources(f.cpp...): commands of the synccore tool.
function(synccore_add_tool_sources)
    if(SYNCCORE_BUILD_TOOLS)
        target_sources(synccore PRIVATE ${ARGN})
    endif()
endfunction()
