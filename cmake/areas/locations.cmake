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

# Preloaded into the helper, so that a password entry needs more than the size hint.
if(SYNCCORE_BUILD_TESTS)
    add_library(pwentryshim MODULE tests/pwentryshim.cpp)
    target_link_libraries(pwentryshim PRIVATE ${CMAKE_DL_LIBS})
    synccore_warnings(pwentryshim)
endif()

synccore_add_test(locationstest SOURCES tests/locationstest.cpp)
if(TARGET locationstest)
    add_dependencies(locationstest locationshelper pwentryshim)
    if(TARGET synccore)
        add_dependencies(locationstest synccore)
    endif()
endif()
