# The mirror engine: one-way mirror passes with a journal, and a watcher that
# follows the source with inotify. A library of its own (SyncCore::Mirror) on
# top of the core, so that a service or an application can run it without the
# command-line tool.

synccore_add_library(KvSyncMirror EXPORT_NAME Mirror)
target_sources(KvSyncMirror PRIVATE
    Sync/Mirror/MirrorPass.h
    Sync/Mirror/MirrorPass.cpp
    Sync/Mirror/MirrorCopy_p.h
    Sync/Mirror/MirrorCopy.cpp
    Sync/Mirror/MirrorJournal_p.h
    Sync/Mirror/MirrorJournal.cpp
    Sync/Mirror/MirrorWatcher.h
    Sync/Mirror/MirrorWatcher.cpp)
target_link_libraries(KvSyncMirror PUBLIC KvSyncCore Qt6::Core)

# The calls below Qt that only the engine needs (descriptors, raw-byte names,
# atomic replace, inotify) stay inside its library, out of the exported API.
target_sources(KvSyncMirror PRIVATE platform/PlatformFs.h)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    target_sources(KvSyncMirror PRIVATE platform/PlatformFs_linux.cpp)
endif()

synccore_add_test(platformfstest SOURCES tests/platformfstest.cpp platform/PlatformFs_linux.cpp)
synccore_add_test(mirrorpasstest SOURCES tests/mirrorpasstest.cpp tests/MirrorTestSupport.h
    LIBS KvSyncMirror CONCURRENT TIMEOUT 600)
synccore_add_test(mirrorfaulttest SOURCES tests/mirrorfaulttest.cpp tests/MirrorTestSupport.h
    LIBS KvSyncMirror CONCURRENT TIMEOUT 600)
synccore_add_test(mirrorwatchertest SOURCES tests/mirrorwatchertest.cpp tests/MirrorTestSupport.h
    LIBS KvSyncMirror CONCURRENT TIMEOUT 600)
synccore_add_test_helper(mirrorkillhelper SOURCES tests/mirrorkillhelper.cpp LIBS KvSyncMirror)
synccore_add_test_helper(mirrorwriterhelper SOURCES tests/mirrorwriterhelper.cpp)
if(TARGET mirrorfaulttest)
    add_dependencies(mirrorfaulttest mirrorkillhelper mirrorwriterhelper)
    target_compile_definitions(mirrorfaulttest PRIVATE
        MIRROR_KILL_HELPER="$<TARGET_FILE:mirrorkillhelper>"
        MIRROR_WRITER_HELPER="$<TARGET_FILE:mirrorwriterhelper>")
endif()
