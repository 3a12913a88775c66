#pragma once

/**
 * @file SyncNamespace.h
 * @brief Declares the `sync` namespaces inside the library's ABI namespace.
 *
 * `<unistd.h>` declares a global function `sync()`, and a global namespace of
 * the same name cannot live beside it. So `sync` lives inside an inline
 * namespace that also carries the ABI version, and every file opens it as
 * `inline namespace KvSync_6_0 { namespace sync { ... } }`: a bare
 * `namespace sync {` at global scope would, with clang, make a second global
 * `sync` that clashes with the function whichever is declared first. Callers
 * still write `sync::core::X`, in code that includes `<unistd.h>` too, and moc
 * still reports "sync::core::X" as the class name. Only a call of POSIX
 * `sync()` itself becomes ambiguous in such code; the library never needs it.
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
