# The main job: `synccore sync` (a one-way mirror over every subsystem) and
# `synccore history`.

synccore_add_tool_sources(
    tools/synccore/SyncPass.h
    tools/synccore/SyncPass.cpp
    tools/synccore/CommandsSync.cpp)

synccore_add_test(synccommandtest SOURCES tests/synccommandtest.cpp TIMEOUT 600)
if(TARGET synccommandtest AND TARGET synccore)
    add_dependencies(synccommandtest synccore)
endif()
