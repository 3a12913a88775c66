// Fuzzes ActionLog::ResolveSyncActionDetails with arbitrary documents and
// templates, and checks the build/resolve round trip on the way.
//
// Input: UTF-8 text split at '\x1f'. Field 0 is the details document; every
// further field is a template, keyed by a leading "<number>:" when it has one
// (so negative and large types occur) and otherwise by its index.

#include "Sync/SyncCore/ActionLog.h"
#include "Sync/SyncCore/SyncException.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

using sync::core::ActionLog;
using sync::core::actionDetails::DetailsType;

namespace {

ActionLog& theLog()
{
    static ActionLog log(nullptr); // the details operations never touch the database
    return log;
}

[[noreturn]] void fail(const char* what, const QString& detail)
{
    std::fprintf(stderr, "%s: %s\n", what, detail.toUtf8().constData());
    std::abort();
}

// Arguments that survive a document unchanged: no markup, no whitespace-only
// text, no place markers.
QString safeArgument(const QString& raw)
{
    QString safe;
    for (QChar c : raw) {
        const ushort u = c.unicode();
        if ((u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '.'
            || u == '/')
            safe += c;
    }
    return safe.isEmpty() ? QStringLiteral("x") : safe;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    ActionLog& log = theLog();
    const QString input = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    const QStringList parts = input.split(QChar(0x1f));

    QMap<DetailsType, QString> templates;
    for (int i = 1; i < parts.size(); ++i) {
        const QString& part = parts.at(i);
        const qsizetype colon = part.indexOf(QLatin1Char(':'));
        bool numbered = false;
        const int key = colon > 0 ? part.left(colon).toInt(&numbered) : 0;
        if (numbered)
            templates.insert(DetailsType(key), part.mid(colon + 1));
        else
            templates.insert(DetailsType(i - 1), part);
    }

    try {
        const QString text = log.ResolveSyncActionDetails(parts.at(0), templates);
        if (parts.at(0).isEmpty() || templates.isEmpty()) {
            if (!text.isNull())
                fail("not null for empty input", text);
        }
    } catch (const sync::core::SyncException& e) {
        if (e.message()
            != QLatin1String(
                "We do not currently support sync action detail arguments of greater than 9."))
            fail("unexpected exception", e.message());
    }

    // Round trip: the parts as arguments of a built document, resolved through
    // a template that names each in turn, come back in order.
    QVector<QString> args;
    QString templ;
    QString expected;
    for (int i = 0; i < parts.size() && i < 9; ++i) {
        args.append(safeArgument(parts.at(i)));
        templ += QLatin1Char('%') + QString::number(i + 1) + QLatin1Char('|');
        expected += args.last() + QLatin1Char('|');
    }
    const int type = parts.at(0).size() - 5;
    const QString document = log.BuildDetailsXml(DetailsType(type), args);
    const QString back = log.ResolveSyncActionDetails(document, { { DetailsType(type), templ } });
    if (back != expected)
        fail("round trip", document + QStringLiteral(" -> ") + back);
    return 0;
}
