#pragma once

/**
 * @file SyncNamespace.h
 * @brief Opens the `sync` namespaces inside the library's ABI namespace.
 *
 * `<unistd.h>` declares a global function `sync()`, and a global namespace of
 * the same name cannot live beside it. Every header that opens `namespace sync`
 * includes this one first: `sync` then lives inside an inline namespace that
 * also carries the ABI version, so `sync::core::X` resolves as written in code
 * that includes `<unistd.h>`, and moc still reports "sync::core::X" as the
 * class name. Only a call of POSIX `sync()` itself becomes ambiguous in such
 * code; the library never needs it.
 */
inline namespace KvSync_6_0 {
namespace sync {
namespace core {}
namespace interf {
namespace factory {}
}
namespace syncService {}
} // namespace sync
} // namespace KvSync_6_0
