# Action log: the sync action model and its interface, the batched SQLite-backed
# store, queries and trimming, details documents and HTTP error records.

target_sources(KvSyncInterfaces PRIVATE
    interfaces/ActionLogTypes.h
    interfaces/IActionLog.h
    interfaces/ActionLogInterfaces.cpp)

target_sources(KvSyncCore PRIVATE
    Sync/SyncCore/ActionLog.h
    Sync/SyncCore/ActionLog.cpp)
