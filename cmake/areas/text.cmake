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
