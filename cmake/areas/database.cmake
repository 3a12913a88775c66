# Database layer: the interfaces the action log reaches its database through,
# and their Qt Sql + SQLite implementation.

target_sources(KvSyncInterfaces PRIVATE
    interfaces/IDatabaseFactory.h
    interfaces/IQSqlDatabaseWrapper.h
    interfaces/IQSqlQueryWrapper.h
    interfaces/DatabaseInterfaces.cpp)
