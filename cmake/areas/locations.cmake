# locations: sources, tool commands, tests, benchmarks and fuzz targets of this area.
# Application locations and processes: executable, data and desktop folders,
# plug-ins, resources and loaded libraries, companion applications,
# translation files, starting and waiting for processes, autostart entries.

target_sources(KvSyncCore PRIVATE
    CloudUtil/GeneralUtil_locations.cpp)

synccore_add_tool_sources(
    tools/synccore/PathsCommand.cpp
    tools/synccore/AutostartCommand.cpp
    tools/synccore/UserAgentCommand.cpp)

# A real program for the tests to start, copy around, wait for and crash.
synccore_add_test_helper(locationshelper SOURCES tests/locationshelper.cpp)

synccore_add_test(locationstest SOURCES tests/locationstest.cpp)
if(TARGET locationstest)
    add_dependencies(locationstest locationshelper)
    if(TARGET synccore)
        add_dependencies(locationstest synccore)
    endif()
endif()
