// synccore: the command-line face of the SyncCore library.

#include "Command.h"

#include <QCoreApplication>

#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>

namespace {

void printHelp()
{
    tool::out(QStringLiteral("Usage: synccore COMMAND [ARGUMENTS...]"));
    tool::out(QStringLiteral("       synccore --help | --version"));
    tool::out(QString());
    tool::out(QStringLiteral("Commands:"));
    for (const auto& c : tool::commands())
        tool::out(QStringLiteral("  %1 %2\n      %3").arg(c.name, c.usage, c.summary));
}

} // namespace

int main(int argc, char** argv)
{
    log4cplus::Initializer logging;
    // The library logs; the tool has no log file unless a command sets one up.
    // Until then the lines go nowhere instead of a "no appenders" warning.
    log4cplus::Logger::getRoot().addAppender(
        log4cplus::SharedAppenderPtr(new log4cplus::NullAppender()));

    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("synccore"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SYNCCORE_VERSION));

    QStringList args = QCoreApplication::arguments().mid(1);
    if (args.isEmpty() || args.first() == QLatin1String("--help")
        || args.first() == QLatin1String("-h") || args.first() == QLatin1String("help")) {
        printHelp();
        return args.isEmpty() ? 2 : 0;
    }
    if (args.first() == QLatin1String("--version")) {
        tool::out(QStringLiteral("synccore %1").arg(QStringLiteral(SYNCCORE_VERSION)));
        return 0;
    }

    // The longest registered name that the arguments start with wins, so that
    // "log add" is found before a plain "log".
    const tool::Command* best = nullptr;
    int bestWords = 0;
    for (const auto& c : tool::commands()) {
        const QStringList words = c.name.split(QLatin1Char(' '));
        if (words.size() <= args.size() && args.mid(0, words.size()) == words
            && words.size() > bestWords) {
            best = &c;
            bestWords = int(words.size());
        }
    }
    if (!best)
        return tool::usageError(
            QStringLiteral("unknown command '%1' (see synccore --help)").arg(args.first()));

    const QStringList rest = args.mid(bestWords);
    if (rest.contains(QLatin1String("--help"))) {
        tool::out(QStringLiteral("Usage: synccore %1 %2\n%3").arg(best->name, best->usage, best->summary));
        return 0;
    }
    try {
        return best->run(rest);
    } catch (const std::exception& e) {
        return tool::failure(QString::fromUtf8(e.what()));
    }
}
