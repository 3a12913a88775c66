#include "TestUtil.h"

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <ostream>

void PrintTo(const QString& value, std::ostream* os)
{
    *os << '"' << value.toStdString() << '"';
}

void PrintTo(const QByteArray& value, std::ostream* os)
{
    // Printable bytes as they are, the others escaped, so that binary data stays readable.
    *os << '"';
    for (const char c : value) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\')
            *os << '\\' << c;
        else if (c == '\n')
            *os << "\\n";
        else if (u < 0x20 || u >= 0x7f)
            *os << "\\x"
                << "0123456789abcdef"[u >> 4] << "0123456789abcdef"[u & 15];
        else
            *os << c;
    }
    *os << '"';
}

void PrintTo(const QVariant& value, std::ostream* os)
{
    if (!value.isValid()) {
        *os << "QVariant(invalid)";
        return;
    }
    *os << "QVariant(" << value.typeName() << ", ";
    PrintTo(value.toString(), os);
    *os << ')';
}

void PrintTo(const QDateTime& value, std::ostream* os)
{
    *os << (value.isValid() ? value.toString(Qt::ISODateWithMs).toStdString()
                            : std::string("QDateTime(invalid)"));
}

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

void PrintTo(const SyncDetails& value, std::ostream* os)
{
    *os << "SyncDetails(";
    ::PrintTo(value.details, os);
    *os << ')';
}

void PrintTo(const ActionLogEntry& value, std::ostream* os)
{
    *os << "ActionLogEntry(type " << value.actionType << ", info ";
    ::PrintTo(value.relatedItemInfo, os);
    *os << ", name ";
    ::PrintTo(value.relatedItemName, os);
    *os << ", details ";
    ::PrintTo(value.details.details, os);
    *os << ", at ";
    ::PrintTo(value.timestamp, os);
    *os << ')';
}

void PrintTo(const SyncAction& value, std::ostream* os)
{
    *os << "SyncAction(id " << value.id << ", type " << value.actionType << ", name ";
    ::PrintTo(value.relatedItemName, os);
    *os << ", info ";
    ::PrintTo(value.relatedItemInfo, os);
    *os << ", details ";
    ::PrintTo(value.details, os);
    *os << ", at ";
    ::PrintTo(value.timestamp, os);
    *os << ')';
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0

namespace testutil {

TempDir::TempDir()
    : _dir(QDir::tempPath() + QStringLiteral("/synccoretest-XXXXXX"))
{ }

QString TempDir::path() const
{
    return _dir.path();
}

QString TempDir::filePath(const QString& relative) const
{
    return _dir.filePath(relative);
}

QString TempDir::write(const QString& relative, const QByteArray& content) const
{
    const QString full = filePath(relative);
    QDir().mkpath(QFileInfo(full).absolutePath());
    QFile f(full);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(content) != content.size())
        return QString();
    return full;
}

ProcessResult run(
    const QString& program, const QStringList& args, int timeoutMs, const QStringList& extraEnv)
{
    ProcessResult r;
    QProcess p;
    if (!extraEnv.isEmpty()) {
        QStringList env = QProcess::systemEnvironment();
        env << extraEnv;
        p.setEnvironment(env);
    }
    p.start(program, args);
    if (!p.waitForStarted(timeoutMs))
        return r;
    p.closeWriteChannel();
    if (!p.waitForFinished(timeoutMs)) {
        p.kill();
        p.waitForFinished();
    }
    r.out = p.readAllStandardOutput();
    r.err = p.readAllStandardError();
    if (p.exitStatus() == QProcess::NormalExit)
        r.exitCode = p.exitCode();
    else
        r.signal = p.exitCode();
    return r;
}

QString builtExecutable(const QString& name)
{
    return QStringLiteral(SYNCCORE_BINARY_DIR) + QLatin1Char('/') + name;
}

QByteArray readFile(const QString& path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return QByteArray();
    return f.readAll();
}

bool haveProgram(const QString& name)
{
    return !QStandardPaths::findExecutable(name).isEmpty();
}

namespace {

constexpr unsigned kPermissionOverride = (1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH);

// The calling thread's effective set (its low word holds both capabilities); false on failure.
bool effective(unsigned clear, unsigned set, unsigned* before)
{
    __user_cap_header_struct header { _LINUX_CAPABILITY_VERSION_3, 0 };
    __user_cap_data_struct data[2] {};
    if (::syscall(SYS_capget, &header, data) != 0)
        return false;
    *before = data[0].effective;
    data[0].effective = (data[0].effective & ~clear) | set;
    return ::syscall(SYS_capset, &header, data) == 0;
}

} // namespace

WithoutPermissionOverride::WithoutPermissionOverride()
{
    unsigned before = 0;
    if (effective(kPermissionOverride, 0, &before))
        _saved = before & kPermissionOverride;
}

WithoutPermissionOverride::~WithoutPermissionOverride()
{
    unsigned before = 0;
    if (_saved != 0)
        effective(0, _saved, &before);
}

} // namespace testutil
