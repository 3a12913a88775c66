# process: sources, tool commands, tests, benchmarks and fuzz targets of this area.
# Process coordination: the exit and cancel controller, the network status and
# the service's wake-up thread with its waking side.

target_sources(KvSyncInterfaces PRIVATE
    interfaces/ICheckForExit.h
    interfaces/IExitController.h
    interfaces/IConnectedToNetwork.h
    interfaces/ProcessInterfaces.cpp)

target_sources(KvSyncCore PRIVATE
    Sync/SyncCore/ExitManager.h
    Sync/SyncCore/ExitManager.cpp
    Sync/SyncCore/ConnectedToNetwork.h
    Sync/SyncCore/ConnectedToNetwork.cpp
    Sync/SyncCore/WakeupSignalsWrapper.h
    Sync/SyncCore/WakeupSignalsWrapper.cpp)

synccore_add_tool_sources(
    tools/synccore/WaitCommand.cpp
    tools/synccore/WakeCommand.cpp)

synccore_add_test_helper(processtesthelper SOURCES tests/processtesthelper.cpp)
synccore_add_test(exitmanagertest SOURCES tests/exitmanagertest.cpp CONCURRENT)
synccore_add_test(wakeupsignalswrappertest SOURCES tests/wakeupsignalswrappertest.cpp CONCURRENT)
if(TARGET wakeupsignalswrappertest)
    add_dependencies(exitmanagertest processtesthelper)
    add_dependencies(wakeupsignalswrappertest processtesthelper)
    if(TARGET synccore)
        add_dependencies(wakeupsignalswrappertest synccore)
    endif()
endif()

synccore_add_bench(bench_process SOURCES bench/process.cpp)
