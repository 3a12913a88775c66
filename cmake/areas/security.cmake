# security: sources, tool commands, tests, benchmarks and fuzz targets of this area.
# The AES cipher, encryption of stored values, file hashing and the session token.

target_sources(KvSyncInterfaces PRIVATE
    interfaces/ICryptographicHash.h
    interfaces/SecurityInterfaces.cpp)

target_sources(KvSyncCore PRIVATE
    Sync/SyncCore/AES.h
    Sync/SyncCore/AES_p.h
    Sync/SyncCore/AES.cpp
    Sync/SyncCore/AES_x86.cpp
    Sync/SyncCore/Crypto.h
    Sync/SyncCore/Crypto.cpp
    Sync/SyncCore/CryptographicHash.h
    Sync/SyncCore/CryptographicHash.cpp
    Sync/SyncCore/FileDigest_p.h
    Sync/SyncCore/FileDigest.cpp
    Sync/SyncCore/SessionToken.h
    Sync/SyncCore/SessionToken.cpp)

# File digests (SHA-1, MD5) go through OpenSSL's EVP interface, which uses the
# processor's SHA instructions; the AES tests and benchmarks take it as their reference.
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
target_link_libraries(KvSyncCore PRIVATE OpenSSL::Crypto)

synccore_add_test(aestest SOURCES tests/aestest.cpp tests/OpenSslReference.h LIBS OpenSSL::Crypto)
synccore_add_test(cryptotest SOURCES tests/cryptotest.cpp tests/OpenSslReference.h LIBS OpenSSL::Crypto)
synccore_add_test(cryptographichashtest SOURCES tests/cryptographichashtest.cpp)
synccore_add_test_helper(sessiontokenhelper SOURCES tests/sessiontokenhelper.cpp LIBS synccore_platform)
synccore_add_test(sessiontokentest SOURCES tests/sessiontokentest.cpp)
if(TARGET sessiontokentest)
    add_dependencies(sessiontokentest sessiontokenhelper)
endif()

synccore_add_tool_sources(
    tools/synccore/EncryptCommand.cpp
    tools/synccore/DecryptCommand.cpp
    tools/synccore/Sha1Command.cpp
    tools/synccore/SessionTokenCommand.cpp)
synccore_add_test(securitycommandstest SOURCES tests/securitycommandstest.cpp)
if(TARGET securitycommandstest AND TARGET synccore)
    add_dependencies(securitycommandstest synccore)
endif()
synccore_add_test(aesconcurrenttest SOURCES tests/aesconcurrenttest.cpp CONCURRENT)
synccore_add_fuzz(fuzz_crypto SOURCES fuzz/crypto.cpp)
synccore_add_bench(bench_security SOURCES bench/security.cpp LIBS OpenSSL::Crypto)
