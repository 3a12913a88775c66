# The main job: `synccore sync` (a one-way mirror over every subsystem) and
# `synccore history`.

synccore_add_tool_sources(
    tools/synccore/SyncRunner.h
    tools/synccore/SyncRunner.cpp
    tools/synccore/SyncCommand.cpp)
if(TARGET synccore)
    # The engine is the library's; the tool only parses, calls it and prints.
    target_link_libraries(synccore PRIVATE SyncCore::Mirror)
endif()

# Under ThreadSanitizer too: the tool runs the engine with its copy, stat and
# check threads and the wake-up thread.
synccore_add_test(synccommandtest SOURCES tests/synccommandtest.cpp CONCURRENT TIMEOUT 600)
if(TARGET synccommandtest AND TARGET synccore)
    add_dependencies(synccommandtest synccore)
endif()

# Passes run as whole processes of the tool, as rsync runs; the watcher's latency
# is measured on the engine in the benchmark's own process.
synccore_add_bench(bench_sync SOURCES bench/syncbench.cpp LIBS KvSyncMirror)
if(TARGET bench_sync AND TARGET synccore)
    target_compile_definitions(bench_sync PRIVATE SYNCCORE_TOOL_PATH="$<TARGET_FILE:synccore>")
    add_dependencies(bench_sync synccore)
endif()
