#include "Command.h"

#include <QDir>
#include <QStandardPaths>

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace tool {

std::vector<Command>& commands()
{
    static std::vector<Command> all;
    return all;
}

Registrar::Registrar(const QString& name, const QString& usage, const QString& summary,
                     CommandFunction run)
{
    auto& all = commands();
    all.push_back(Command{name, usage, summary, std::move(run)});
    std::sort(all.begin(), all.end(),
              [](const Command& a, const Command& b) { return a.name < b.name; });
}

void out(const QString& line)
{
    const QByteArray bytes = line.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

void err(const QString& message)
{
    const QByteArray bytes = QStringLiteral("synccore: %1\n").arg(message).toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
    std::fflush(stderr);
}

int usageError(const QString& message)
{
    err(message);
    return 2;
}

int failure(const QString& message)
{
    err(message);
    return 1;
}

bool stdoutIsTerminal()
{
    return ::isatty(STDOUT_FILENO) == 1;
}

QString takeOption(QStringList& args, const QString& name, bool* found)
{
    const QString flag = QStringLiteral("--") + name;
    const QString prefix = flag + QLatin1Char('=');
    for (int i = 0; i < args.size(); ++i) {
        if (args[i] == flag && i + 1 < args.size()) {
            const QString value = args[i + 1];
            args.remove(i, 2);
            if (found)
                *found = true;
            return value;
        }
        if (args[i].startsWith(prefix)) {
            const QString value = args[i].mid(prefix.size());
            args.removeAt(i);
            if (found)
                *found = true;
            return value;
        }
    }
    if (found)
        *found = false;
    return QString();
}

bool takeFlag(QStringList& args, const QString& name)
{
    return args.removeAll(QStringLiteral("--") + name) > 0;
}

QString defaultDatabasePath()
{
    const QString dir = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
                        + QStringLiteral("/synccore");
    QDir().mkpath(dir);
    return dir + QStringLiteral("/actionlog.sqlite");
}

} // namespace tool
