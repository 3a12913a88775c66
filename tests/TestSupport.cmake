# Included from the top directory (Qt Test defines differ per directory, and
# every test must reuse one precompiled header). The shared part of every test executable: a main that gives the process a
# QCoreApplication and a private HOME/XDG tree, the helpers in TestUtil.h, and
# one precompiled header that all tests reuse (the two-core build needs it).
find_package(Qt6 REQUIRED COMPONENTS Test)

add_custom_target(synccore_concurrent_tests)

add_library(synccore_testsupport STATIC tests/testmain.cpp tests/TestUtil.cpp tests/TestUtil.h)
target_link_libraries(synccore_testsupport PUBLIC
    KvSyncCore Qt6::Core Qt6::Xml Qt6::Sql Qt6::Test GTest::gtest GTest::gmock)
target_include_directories(synccore_testsupport PUBLIC ${PROJECT_SOURCE_DIR}/tests)
target_compile_definitions(synccore_testsupport PUBLIC
    SYNCCORE_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
    SYNCCORE_BINARY_DIR="${PROJECT_BINARY_DIR}")
target_precompile_headers(synccore_testsupport PUBLIC
    <QtCore>
    <gtest/gtest.h>
    <gmock/gmock.h>)
synccore_warnings(synccore_testsupport)

# The operating-system layer for the tests and helpers that call it directly:
# the shared library keeps those functions hidden, as they are not its API.
add_library(synccore_platform STATIC ${PROJECT_SOURCE_DIR}/platform/Platform_linux.cpp)
target_link_libraries(synccore_platform PUBLIC KvSyncCore Qt6::Core)
synccore_warnings(synccore_platform)
