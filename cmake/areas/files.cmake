# files: sources, tool commands, tests, benchmarks and fuzz targets of this area.
# File access: file operations of GeneralUtil, the five wrappers, temporary and
# download companions, the sharing file engine.

target_sources(KvSyncInterfaces PRIVATE
    interfaces/IQFileWrapper.h
    interfaces/IQFileInfoWrapper.h
    interfaces/IQDirWrapper.h
    interfaces/IQDirIteratorWrapper.h
    interfaces/IQEventLoopWrapper.h
    interfaces/FileInterfaces.cpp)

target_sources(KvSyncCore PRIVATE
    CloudUtil/GeneralUtil_files.cpp
    Sync/SyncCore/QFileWrapper.h
    Sync/SyncCore/QFileWrapper.cpp
    Sync/SyncCore/QFileInfoWrapper.h
    Sync/SyncCore/QFileInfoWrapper.cpp
    Sync/SyncCore/QDirWrapper.h
    Sync/SyncCore/QDirWrapper.cpp
    Sync/SyncCore/QDirIteratorWrapper.h
    Sync/SyncCore/QDirIteratorWrapper.cpp
    Sync/SyncCore/QEventLoopWrapper.h
    Sync/SyncCore/QEventLoopWrapper.cpp)

target_sources(KvSyncSharingEngine PRIVATE
    Sync/SyncCore/QSharingFileEngine.h
    Sync/SyncCore/QSharingFileEngine.cpp)
# The engine's own platform calls: the core keeps its platform layer hidden, so
# the engine library carries a private copy of it.
target_sources(KvSyncSharingEngine PRIVATE platform/Platform_linux.cpp)
target_link_libraries(KvSyncSharingEngine PRIVATE Threads::Threads ${CMAKE_DL_LIBS})

synccore_add_tool_sources(
    tools/synccore/Digest.h
    tools/synccore/Digest.cpp
    tools/synccore/Md5Command.cpp
    tools/synccore/CopyCommand.cpp
    tools/synccore/Visibility.h
    tools/synccore/Visibility.cpp
    tools/synccore/HideCommand.cpp
    tools/synccore/ShowCommand.cpp)

synccore_add_test_helper(filelockhelper SOURCES tests/filelockhelper.cpp)
synccore_add_test(filestest SOURCES tests/filestest.cpp CONCURRENT)
if(TARGET filestest)
    add_dependencies(filestest filelockhelper)
endif()
if(TARGET synccore)
    synccore_add_test(commandsfilestest SOURCES tests/commandsfilestest.cpp)
    if(TARGET commandsfilestest)
        add_dependencies(commandsfilestest synccore)
    endif()
endif()
synccore_add_test(qsharingfileenginetest
    SOURCES tests/qsharingfileenginetest.cpp tests/qsharingfileenginetest.qrc
    LIBS KvSyncSharingEngine)
if(TARGET qsharingfileenginetest)
    set_target_properties(qsharingfileenginetest PROPERTIES AUTORCC ON)
endif()

synccore_add_bench(bench_files SOURCES bench/files.cpp)
