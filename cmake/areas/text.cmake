# Text: string utilities, path algebra, durations, sizes and enumerations.

target_sources(KvSyncCore PRIVATE
    CloudUtil/StringUtil.cpp
    CloudUtil/StringUtil.h
    CloudUtil/GeneralUtil.h)

synccore_add_test(stringutiltest SOURCES tests/stringutiltest.cpp)

# GeneralUtil: path algebra, durations, sizes and enumerations.
target_sources(KvSyncCore PRIVATE
    CloudUtil/GeneralUtil_paths.cpp
    CloudUtil/GeneralUtil_values.cpp)

synccore_add_test(generalutilpathstest SOURCES tests/generalutilpathstest.cpp)
synccore_add_test(generalutilvaluestest SOURCES tests/generalutilvaluestest.cpp)
# Prints display texts in whatever locale its environment sets, so that the
# values test can check them under a locale of its choosing.
synccore_add_test_helper(generalutilvalueshelper SOURCES tests/generalutilvalueshelper.cpp)
if(TARGET generalutilvaluestest)
    add_dependencies(generalutilvaluestest generalutilvalueshelper)
endif()
synccore_add_fuzz(fuzz_text SOURCES fuzz/textfuzz.cpp)
synccore_add_bench(bench_paths SOURCES bench/pathsbench.cpp)
synccore_add_tool_sources(
    tools/synccore/DurationCommand.cpp
    tools/synccore/SizeCommand.cpp)
if(TARGET generalutilvaluestest AND TARGET synccore)
    # The test runs the tool's duration and size commands.
    add_dependencies(generalutilvaluestest synccore)
endif()
