// Fuzzes the text parsers of the utilities: durations, call texts, path
// cleaning, common parents and variable expansion. Besides crashes, hangs and
// sanitizer reports, it traps on a broken invariant that every input must keep.

#include "CloudUtil/GeneralUtil.h"
#include "CloudUtil/StringUtil.h"

#include <QMap>

#include <cstddef>
#include <cstdint>

using Tessaron::CloudUtil::GeneralUtil;
using Tessaron::CloudUtil::StringUtil;

static void check(bool ok)
{
    if (!ok)
        __builtin_trap();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));

    int y, mo, d, h, mi;
    double s, total;
    const bool fields = GeneralUtil::ParseDuration(text, y, mo, d, h, mi, s);
    check(GeneralUtil::ParseDuration(text, total) == fields);
    check(fields ? y >= 0 && mo >= 0 && d >= 0 && h >= 0 && mi >= 0 && !(s < 0) : total == 0);

    QString name;
    QStringList args;
    if (GeneralUtil::ParseFunction(text, name, args)) {
        const qsizetype open = text.indexOf(QLatin1Char('('));
        check(open >= 0 && name == text.left(open));
        const int close = GeneralUtil::FindMatchingBrace(text, int(open));
        check(close > open && text.at(close) == QLatin1Char(')'));
    }

    // A value that refers to itself, and one that refers to another, so that
    // nested expansion and its bound are reached too.
    static const QMap<QString, QString> values { { QStringLiteral("A"), QStringLiteral("x$(A)") },
        { QStringLiteral("B"), QStringLiteral("$(c)y") },
        { QStringLiteral("c"), QStringLiteral("(z)") },
        { QStringLiteral("HOME"), QStringLiteral("/home/u") } };
    QString expanded = text;
    const int count = StringUtil::ResolveVariables(expanded, values, true);
    check(count >= 0 && count <= 4096 && (count > 0 || expanded == text));

    // Two paths: the text split at its first line break.
    const qsizetype br = text.indexOf(QLatin1Char('\n'));
    const QString a = br < 0 ? text : text.left(br), b = br < 0 ? text : text.mid(br + 1);
    const QString clean = GeneralUtil::CleanPath(a);
    check(clean != clean.trimmed() || GeneralUtil::CleanPath(clean) == clean);
    check(GeneralUtil::GetCommonParentPath(a, b).isEmpty()
        == !GeneralUtil::HasCommonParentPath(a, b));
    check(!GeneralUtil::IsParentPath(a, b) || GeneralUtil::IsParentOrSamePath(a, b));
    (void)GeneralUtil::GetSubPath(a, b);
    (void)GeneralUtil::GetDrive(a);
    return 0;
}
