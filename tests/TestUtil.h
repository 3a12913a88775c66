#pragma once

// Helpers shared by the tests: temporary folders, child processes, files.

#include "interfaces/ActionLogTypes.h"

#include <QByteArray>
#include <QDateTime>
#include <QFile>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>

#include <iosfwd>

// GoogleTest printers, so that a failed comparison shows text and values
// instead of the bytes of the objects. Found by argument-dependent lookup,
// hence beside the types they print.
void PrintTo(const QString& value, std::ostream* os);
void PrintTo(const QByteArray& value, std::ostream* os);
void PrintTo(const QVariant& value, std::ostream* os);
void PrintTo(const QDateTime& value, std::ostream* os);

inline namespace KvSync_6_0 {
namespace sync {
namespace core {
void PrintTo(const SyncDetails& value, std::ostream* os);
void PrintTo(const ActionLogEntry& value, std::ostream* os);
void PrintTo(const SyncAction& value, std::ostream* os);
} // namespace core
} // namespace sync
} // namespace KvSync_6_0

#include <chrono>
#include <functional>
#include <future>
#include <optional>

#include <fcntl.h>
#include <unistd.h>

#include <ostream>

inline void PrintTo(const QStringList& list, std::ostream* os)
{
    *os << '[' << list.join(QStringLiteral(", ")).toStdString() << ']';
}

namespace testutil {

/// A fresh temporary folder, removed when the object goes away.
class TempDir
{
public:
    TempDir();
    QString path() const;
    /// Absolute path of a relative name inside the folder.
    QString filePath(const QString& relative) const;
    /// Writes bytes to a file (creating parent folders) and returns its absolute path.
    QString write(const QString& relative, const QByteArray& content) const;

private:
    QTemporaryDir _dir;
};

/// Result of a finished child process.
struct ProcessResult
{
    int exitCode = -1; ///< exit code, or -1 when it did not exit normally
    int signal = 0; ///< terminating signal, 0 when it exited
    QByteArray out;
    QByteArray err;
};

/// Runs a program to completion (timeout in milliseconds) and returns what it did.
ProcessResult run(const QString& program, const QStringList& args, int timeoutMs = 60000,
    const QStringList& extraEnv = {});

/// Path of an executable built beside the tests (a test helper or the tool).
QString builtExecutable(const QString& name);

/// Reads a whole file; empty when it cannot be read.
QByteArray readFile(const QString& path);

/// True when a program is on PATH.
bool haveProgram(const QString& name);

/**
 * While it lives, the calling thread cannot bypass file permissions: root's
 * CAP_DAC_OVERRIDE and CAP_DAC_READ_SEARCH leave the thread's effective set
 * (capabilities belong to threads on Linux), so a test run as root meets an
 * unreadable folder as a user does. For anyone else it changes nothing.
 */
class WithoutPermissionOverride
{
public:
    WithoutPermissionOverride();
    ~WithoutPermissionOverride();
    WithoutPermissionOverride(const WithoutPermissionOverride&) = delete;
    WithoutPermissionOverride& operator=(const WithoutPermissionOverride&) = delete;

private:
    unsigned _saved = 0; // the effective bits of the two capabilities that were dropped
};

/**
 * Runs @p call on another thread and gives its result when it returns within ten seconds.
 * A call still blocked then (in an open or a read of the FIFO @p fifo) is set free by
 * opening the FIFO's other end and closing it again, so that the test always ends; the
 * result is then empty.
 */
template <typename R>
std::optional<R> returnsPromptly(const std::function<R()>& call, const QString& fifo)
{
    std::future<R> done = std::async(std::launch::async, call);
    if (done.wait_for(std::chrono::seconds(10)) == std::future_status::ready)
        return done.get();
    const int fd = ::open(QFile::encodeName(fifo).constData(), O_RDWR | O_NONBLOCK);
    if (fd >= 0)
        ::close(fd);
    done.wait();
    return std::nullopt;
}

} // namespace testutil
