# security: sources, tool commands, tests, benchmarks and fuzz targets of this area.
# The AES cipher, encryption of stored values, file hashing and the session token.

target_sources(KvSyncCore PRIVATE
    Sync/SyncCore/SessionToken.h
    Sync/SyncCore/SessionToken.cpp)
