# Foundation: namespace, exception, scope guard, constants, logging.

target_sources(KvSyncInterfaces PRIVATE
    interfaces/SyncNamespace.h)

target_sources(KvSyncCore PRIVATE
    Sync/SyncCore/SyncException.cpp
    Sync/SyncCore/Finally.cpp
    Sync/SyncCore/Consts.cpp
    Sync/SyncCore/LoggingConfigurator.cpp
    Sync/SyncCore/ScopeLogger.cpp
    platform/Platform.h)

if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    target_sources(KvSyncCore PRIVATE platform/Platform_linux.cpp)
endif()

synccore_add_tool_sources(
    tools/synccore/main.cpp
    tools/synccore/Command.h
    tools/synccore/Command.cpp
    tools/synccore/Help.h
    tools/synccore/Help.cpp
    tools/synccore/Format.h
    tools/synccore/Format.cpp
    tools/synccore/Signals.h
    tools/synccore/Signals.cpp
    tools/synccore/LogDemoCommand.cpp)
# The manual page and the bash completion cover every command and option;
# toolsurfacetest checks them against the parsers.
if(TARGET synccore)
    install(FILES tools/synccore/synccore.1
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
    install(FILES tools/synccore/synccore.bash-completion RENAME synccore
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tool)
endif()
synccore_add_test(synccoretooltest SOURCES tests/synccoretooltest.cpp)
if(TARGET synccoretooltest AND TARGET synccore)
    add_dependencies(synccoretooltest synccore)
    # The test installs the manual page and completion with cmake itself.
    target_compile_definitions(synccoretooltest PRIVATE SYNCCORE_CMAKE_COMMAND="${CMAKE_COMMAND}")
endif()

synccore_add_test(coretypestest SOURCES tests/coretypestest.cpp)
synccore_add_test(loggingconfiguratortest SOURCES tests/loggingconfiguratortest.cpp)
synccore_add_test(packagetest SOURCES tests/packagetest.cpp TIMEOUT 600)
if(TARGET packagetest)
    target_compile_definitions(packagetest PRIVATE
        CMAKE_COMMAND="${CMAKE_COMMAND}"
        CPACK_COMMAND="${CMAKE_CPACK_COMMAND}"
        SYNCCORE_DEB_RUNTIME="${SYNCCORE_DEB_RUNTIME}"
        SYNCCORE_WERROR_ON=$<BOOL:${SYNCCORE_WERROR}>
        LIBDIR="${CMAKE_INSTALL_LIBDIR}"
        SYNCCORE_SANITIZE_FLAGS="${SYNCCORE_SANITIZE}")
    # The tool and the libraries must be built before they can be installed.
    add_dependencies(packagetest KvSyncCore KvSyncInterfaces)
    if(TARGET synccore)
        add_dependencies(packagetest synccore)
    endif()
endif()
