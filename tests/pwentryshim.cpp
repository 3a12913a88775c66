// Preloaded into a test helper: getpwuid_r() refuses every buffer below 64 KiB with
// ERANGE, as the C library does for a password entry larger than the size hint (a long
// comment field, say). The entry itself is the real one.

#include <cerrno>
#include <cstddef>

#include <dlfcn.h>
#include <pwd.h>

extern "C" __attribute__((visibility("default"))) int getpwuid_r(
    uid_t uid, passwd* entry, char* buffer, size_t size, passwd** result)
{
    using Real = int (*)(uid_t, passwd*, char*, size_t, passwd**);
    static const Real real = reinterpret_cast<Real>(::dlsym(RTLD_NEXT, "getpwuid_r"));
    if (size < 64 * 1024) {
        *result = nullptr;
        return ERANGE;
    }
    return real ? real(uid, entry, buffer, size, result) : ENOSYS;
}
