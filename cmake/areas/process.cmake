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
    Sync/SyncCore/ConnectedToNetwork.cpp)

synccore_add_test_helper(processtesthelper SOURCES tests/processtesthelper.cpp)
synccore_add_test(exitmanagertest SOURCES tests/exitmanagertest.cpp CONCURRENT)
if(TARGET exitmanagertest)
    add_dependencies(exitmanagertest processtesthelper)
endif()
