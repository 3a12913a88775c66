# textmatch: the file name matcher, folder utilities, language codes and the
# settings store, with their tool command, tests, benchmark and fuzz target.

target_sources(KvSyncInterfaces PRIVATE
    interfaces/DriveType.h)

target_sources(KvSyncCore PRIVATE
    Sync/SyncCore/FileNameMatcher.h
    Sync/SyncCore/FileNameMatcher.cpp
    Sync/SyncCore/FolderUtilities.h
    Sync/SyncCore/FolderUtilities.cpp
    Sync/SyncCore/LanguageCodes.h
    Sync/SyncCore/LanguageCodes.cpp
    CloudUtil/RegistryUtil.h
    CloudUtil/RegistryUtil.cpp)

synccore_add_tool_sources(
    tools/synccore/ExcludeCommand.cpp)

synccore_add_test(filenamematchertest SOURCES tests/filenamematchertest.cpp CONCURRENT)
synccore_add_test(folderutilitiestest SOURCES tests/folderutilitiestest.cpp)
synccore_add_test(registryutiltest SOURCES tests/registryutiltest.cpp)
synccore_add_test_helper(languagecodeshelper SOURCES tests/languagecodeshelper.cpp)
synccore_add_test(languagecodestest SOURCES tests/languagecodestest.cpp)
if(TARGET languagecodestest)
    add_dependencies(languagecodestest languagecodeshelper)
endif()

synccore_add_test(excludecommandtest SOURCES tests/excludecommandtest.cpp)
if(TARGET excludecommandtest AND TARGET synccore)
    add_dependencies(excludecommandtest synccore)
endif()

synccore_add_fuzz(fuzz_matcher SOURCES fuzz/matcher.cpp)

if(SYNCCORE_BUILD_BENCHMARKS)
    pkg_check_modules(PCRE2 REQUIRED IMPORTED_TARGET libpcre2-8)
    synccore_add_bench(bench_matcher SOURCES bench/matcherbench.cpp LIBS PkgConfig::PCRE2)
endif()
