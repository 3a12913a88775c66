# Action log: the sync action model and its interface, the batched SQLite-backed
# store, queries and trimming, details documents and HTTP error records.

target_sources(KvSyncInterfaces PRIVATE
    interfaces/ActionLogTypes.h
    interfaces/IActionLog.h
    interfaces/ActionLogInterfaces.cpp)

target_sources(KvSyncCore PRIVATE
    Sync/SyncCore/ActionLog.h
    Sync/SyncCore/ActionLog.cpp)

synccore_add_test(actionlogtest SOURCES tests/actionlogtest.cpp tests/ActionLogTestSupport.h)
synccore_add_test(actionlogconcurrenttest SOURCES tests/actionlogconcurrenttest.cpp tests/ActionLogTestSupport.h
    CONCURRENT TIMEOUT 900)
synccore_add_test_helper(actionlogflushhelper SOURCES tests/actionlogflushhelper.cpp)
if(TARGET actionlogconcurrenttest)
    add_dependencies(actionlogconcurrenttest actionlogflushhelper)
endif()

synccore_add_tool_sources(
    tools/synccore/ActionLogText.h
    tools/synccore/ActionLogText.cpp
    tools/synccore/LogDatabase.h
    tools/synccore/LogDatabase.cpp
    tools/synccore/LogAddCommand.cpp
    tools/synccore/LogListCommand.cpp
    tools/synccore/LogShowCommand.cpp
    tools/synccore/LogRemoveCommand.cpp
    tools/synccore/LogTrimCommand.cpp
    tools/synccore/LogClearCommand.cpp
    tools/synccore/HistoryCommand.cpp)
synccore_add_test(actionlogtooltest SOURCES tests/actionlogtooltest.cpp)
if(TARGET actionlogtooltest AND TARGET synccore)
    add_dependencies(actionlogtooltest synccore)
endif()

synccore_add_fuzz(fuzz_actiondetails SOURCES fuzz/actiondetails.cpp)

if(SYNCCORE_BUILD_BENCHMARKS)
    synccore_add_bench(bench_actionlog SOURCES bench/actionlog.cpp LIBS SQLite::SQLite3)
endif()

# Names of every library QObject class as metaObject() and inherits() give them.
synccore_add_test(classnamestest SOURCES tests/classnamestest.cpp)
