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
 * still write `sync::core::X`, in code that includes `<unistd.h>` too. Only a
 * call of POSIX `sync()` itself becomes ambiguous in such code; the library
 * never needs it.
 *
 * moc would put the ABI namespace into every class name
 * ("KvSync_6_0::sync::core::ActionLog"), which metaObject()->className() and
 * inherits() then answer to. For moc alone the ABI namespace is unnamed, which
 * it skips: the names read "sync::core::ActionLog", and the code it writes
 * (`sync::core::ActionLog::staticMetaObject`) still finds the classes through
 * the inline namespace.
 */
#ifdef Q_MOC_RUN
#define KvSync_6_0
#endif

inline namespace KvSync_6_0 {
namespace sync {
namespace core { }
namespace interf {
namespace factory { }
}
namespace syncService { }
} // namespace sync
} // namespace KvSync_6_0
