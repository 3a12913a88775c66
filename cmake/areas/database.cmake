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
    database/SqliteRow.h
    database/SqliteRow.cpp
    database/SqliteConnection_p.h
    database/SqliteConnection.cpp
    database/SqliteStatement.cpp
    database/SqliteDatabaseWrapper_p.h
    database/SqliteDatabaseWrapper.cpp
    database/SqliteQueryWrapper_p.h
    database/SqliteQueryWrapper.cpp)

# The Qt driver uses the system SQLite; the library reaches the same handle
# through it for statements that return no rows.
find_package(SQLite3 REQUIRED)
target_link_libraries(KvSyncCore PRIVATE SQLite::SQLite3)

synccore_add_test(sqlitedatabasefactorytest SOURCES tests/sqlitedatabasefactorytest.cpp CONCURRENT)
synccore_add_test_helper(sqliteopenhelper SOURCES tests/sqliteopenhelper.cpp)
if(TARGET sqlitedatabasefactorytest)
    add_dependencies(sqlitedatabasefactorytest sqliteopenhelper)
endif()

if(SYNCCORE_BUILD_BENCHMARKS)
    synccore_add_bench(bench_database SOURCES bench/databasebench.cpp LIBS SQLite::SQLite3)
endif()
