#include "TestUtil.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

namespace testutil {

TempDir::TempDir()
    : _dir(QDir::tempPath() + QStringLiteral("/synccoretest-XXXXXX"))
{
}

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

ProcessResult run(const QString& program, const QStringList& args, int timeoutMs,
                  const QStringList& extraEnv)
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

} // namespace testutil
