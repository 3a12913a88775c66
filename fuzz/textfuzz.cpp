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

namespace {

void check(bool condition)
{
    if (!condition)
        __builtin_trap();
}

void fuzzDuration(const QString& text)
{
    int y, mo, d, h, mi;
    double s, total;
    const bool fields = GeneralUtil::ParseDuration(text, y, mo, d, h, mi, s);
    check(GeneralUtil::ParseDuration(text, total) == fields);
    if (!fields)
        check(total == 0);
    else
        check(y >= 0 && mo >= 0 && d >= 0 && h >= 0 && mi >= 0 && !(s < 0));
}

void fuzzFunction(const QString& text)
{
    QString name;
    QStringList args;
    if (!GeneralUtil::ParseFunction(text, name, args))
        return;
    const qsizetype open = text.indexOf(QLatin1Char('('));
    check(open >= 0 && name == text.left(open));
    const int close = GeneralUtil::FindMatchingBrace(text, int(open));
    check(close > open && text.at(close) == QLatin1Char(')'));
}

void fuzzPaths(const QString& a, const QString& b)
{
    const QString clean = GeneralUtil::CleanPath(a);
    if (clean == clean.trimmed())
        check(GeneralUtil::CleanPath(clean) == clean);
    const QString common = GeneralUtil::GetCommonParentPath(a, b);
    check(common.isEmpty() == !GeneralUtil::HasCommonParentPath(a, b));
    if (GeneralUtil::IsParentPath(a, b))
        check(GeneralUtil::IsParentOrSamePath(a, b));
    (void)GeneralUtil::GetSubPath(a, b);
    (void)GeneralUtil::GetDrive(a);
}

void fuzzVariables(const QString& text)
{
    // A value that refers to itself, and one that refers to another, so that
    // nested expansion and its bound are reached too.
    static const QMap<QString, QString> values{
        {QStringLiteral("A"), QStringLiteral("x$(A)")},
        {QStringLiteral("B"), QStringLiteral("$(c)y")},
        {QStringLiteral("c"), QStringLiteral("(z)")},
        {QStringLiteral("HOME"), QStringLiteral("/home/u")},
    };
    QString expanded = text;
    const int count = StringUtil::ResolveVariables(expanded, values, true);
    check(count >= 0 && count <= 4096);
    if (count == 0)
        check(expanded == text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    fuzzDuration(text);
    fuzzFunction(text);
    fuzzVariables(text);
    // Two paths: the text split at its first line break.
    const qsizetype br = text.indexOf(QLatin1Char('\n'));
    fuzzPaths(br < 0 ? text : text.left(br), br < 0 ? text : text.mid(br + 1));
    return 0;
}
