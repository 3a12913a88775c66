// Fuzzes ActionLog::ResolveSyncActionDetails with arbitrary documents and
// templates, and checks the build/resolve round trip on the way.
//
// Input: UTF-8 text split at '\x1f'. Field 0 is the details document; every
// further field is a template, keyed by a leading "<number>:" when it has one
// (so negative and large types occur) and otherwise by its index.

#include "Sync/SyncCore/ActionLog.h"
#include "Sync/SyncCore/SyncException.h"

#include <QString>
#include <QRegularExpression>
#include <QStringList>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

using sync::core::actionDetails::DetailsType;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static sync::core::ActionLog log(nullptr); // the details operations never touch the database
    const QStringList parts
        = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size))
              .split(QChar(0x1f));
    QMap<DetailsType, QString> templates;
    for (int i = 1; i < parts.size(); ++i) {
        bool numbered = false;
        const int key = parts[i].section(QLatin1Char(':'), 0, 0).toInt(&numbered);
        templates.insert(DetailsType(numbered ? key : i - 1),
            numbered ? parts[i].section(QLatin1Char(':'), 1) : parts[i]);
    }
    QString problem;
    try {
        const QString text = log.ResolveSyncActionDetails(parts[0], templates);
        if ((parts[0].isEmpty() || templates.isEmpty()) && !text.isNull())
            problem = QStringLiteral("not null for empty input: ") + text;
    } catch (const sync::core::SyncException& e) {
        if (e.message()
            != QLatin1String(
                "We do not currently support sync action detail arguments of greater than 9."))
            problem = QStringLiteral("unexpected exception: ") + e.message();
    }
    // Round trip: the parts, reduced to text that survives a document unchanged,
    // come back in order through a template that names each in turn.
    QVector<QString> args;
    QString templ, expected;
    for (int i = 0; i < parts.size() && i < 9; ++i) {
        QString safe = parts[i];
        static const QRegularExpression unsafe(QStringLiteral("[^a-zA-Z0-9./]"));
        safe.remove(unsafe);
        args.append(safe.isEmpty() ? QStringLiteral("x") : safe);
        templ += QLatin1Char('%') + QString::number(i + 1) + QLatin1Char('|');
        expected += args.last() + QLatin1Char('|');
    }
    const DetailsType type = DetailsType(parts[0].size() - 5);
    const QString document = log.BuildDetailsXml(type, args);
    if (log.ResolveSyncActionDetails(document, { { type, templ } }) != expected)
        problem = QStringLiteral("round trip: ") + document;
    if (!problem.isEmpty()) {
        std::fprintf(stderr, "%s\n", problem.toUtf8().constData());
        std::abort();
    }
    return 0;
}
