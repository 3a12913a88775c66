# Database layer: the interfaces the action log reaches its database through,
# and their Qt Sql + SQLite implementation.

target_sources(KvSyncInterfaces PRIVATE
    interfaces/IDatabaseFactory.h
    interfaces/IQSqlDatabaseWrapper.h
    interfaces/IQSqlQueryWrapper.h
    interfaces/DatabaseInterfaces.cpp)

target_sources(KvSyncCore PRIVATE
    database/SqliteDatabaseFactory.h
    database/SqliteDatabaseFactory.cpp
    database/SqliteConnection_p.h
    database/SqliteConnection.cpp
    database/SqliteDatabaseWrapper_p.h
    database/SqliteDatabaseWrapper.cpp
    database/SqliteQueryWrapper_p.h
    database/SqliteQueryWrapper.cpp)

synccore_add_test(sqlitedatabasefactorytest SOURCES tests/sqlitedatabasefactorytest.cpp CONCURRENT)
