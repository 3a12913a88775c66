#include "Sync/Mirror/MirrorJournal_p.h"

#include "database/SqliteDatabaseFactory.h"
#include "database/SqliteRow.h"
#include "interfaces/IQSqlDatabaseWrapper.h"
#include "interfaces/IQSqlQueryWrapper.h"

#include <QByteArray>
#include <QVariant>

inline namespace KvSync_6_0 {
namespace sync {
namespace mirror {

namespace {

// Writes are committed in batches of this many rows: few transactions on a
// first pass of many files, little lost when a pass is killed.
constexpr int kRowsPerTransaction = 2000;

QByteArray bytes(const std::string& s)
{
    return QByteArray(s.data(), qsizetype(s.size()));
}

// The key range of everything below a folder: "a/b/" up to (not including) "a/b0".
QByteArray below(const std::string& path)
{
    return bytes(path) + '/';
}

QByteArray belowEnd(const std::string& path)
{
    return bytes(path) + char('/' + 1);
}

} // namespace

MirrorJournal::MirrorJournal(std::shared_ptr<sync::core::SqliteDatabaseFactory> database)
    : _database(std::move(database))
{ }

MirrorJournal::~MirrorJournal()
{
    // Whatever the hook would write may be gone by now; its owner writes it.
    _beforeCommit = nullptr;
    Finish();
}

void MirrorJournal::_Fail(const QString& what)
{
    if (_error.isEmpty())
        _error = QStringLiteral("%1: %2").arg(what, _database ? _database->LastError() : QString());
}

bool MirrorJournal::Open(const std::string& source, const std::string& target)
{
    if (!_database)
        return false;
    const char* statements[] = {
        "CREATE TABLE IF NOT EXISTS MirrorPairs (id INTEGER PRIMARY KEY, source BLOB NOT NULL,"
        " target BLOB NOT NULL, UNIQUE (source, target))",
        "CREATE TABLE IF NOT EXISTS MirrorJournal (pair INTEGER NOT NULL, folder BLOB NOT NULL,"
        " name BLOB NOT NULL, type INTEGER, size INTEGER, mtimeNs INTEGER, mode INTEGER,"
        " sourceDevice INTEGER, sourceInode INTEGER, targetDevice INTEGER, targetInode INTEGER,"
        " targetSize INTEGER, targetMtimeNs INTEGER, link BLOB, digest BLOB,"
        " PRIMARY KEY (pair, folder, name)) WITHOUT ROWID",
    };
    for (const char* sql : statements) {
        auto q = _database->CreateQuery();
        if (!q->prepare(QString::fromLatin1(sql)) || !q->exec()) {
            _Fail(QStringLiteral("cannot create the mirror journal"));
            return false;
        }
    }
    for (int attempt = 0; attempt < 2; ++attempt) {
        auto q = _database->CreateQuery();
        q->prepare(QStringLiteral("SELECT id FROM MirrorPairs WHERE source = :s AND target = :t"));
        q->bindValue(QStringLiteral(":s"), bytes(source));
        q->bindValue(QStringLiteral(":t"), bytes(target));
        if (!q->exec()) {
            _Fail(QStringLiteral("cannot read the mirror journal"));
            return false;
        }
        if (q->next()) {
            _pair = q->value(0).toLongLong();
            return true;
        }
        auto insert = _database->CreateQuery();
        insert->prepare(QStringLiteral("INSERT INTO MirrorPairs (source, target) VALUES (:s, :t)"));
        insert->bindValue(QStringLiteral(":s"), bytes(source));
        insert->bindValue(QStringLiteral(":t"), bytes(target));
        if (!insert->exec()) {
            _Fail(QStringLiteral("cannot write the mirror journal"));
            return false;
        }
    }
    return false;
}

bool MirrorJournal::LoadFolder(const std::string& folder, JournalFolder& out)
{
    out.clear();
    if (_pair < 0)
        return false;
    // Every pass reads every row: read in place rather than through a QVariant per value.
    const bool ok = _database->ReadRows(
        QStringLiteral("SELECT name, type, size, mtimeNs, mode, sourceDevice, sourceInode,"
                       " targetDevice, targetInode, targetSize, targetMtimeNs, link, digest"
                       " FROM MirrorJournal WHERE pair = ? AND folder = ?"),
        { _pair, bytes(folder) }, [&out](const sync::core::SqliteRow& r) {
            JournalRow row;
            row.type = int(r.Integer(1));
            row.size = r.Integer(2);
            row.mtimeNs = r.Integer(3);
            row.mode = uint32_t(r.Integer(4));
            row.sourceDevice = uint64_t(r.Integer(5));
            row.sourceInode = uint64_t(r.Integer(6));
            row.targetDevice = uint64_t(r.Integer(7));
            row.targetInode = uint64_t(r.Integer(8));
            row.targetSize = r.Integer(9);
            row.targetMtimeNs = r.Integer(10);
            row.link = std::string(r.Bytes(11));
            row.digest = std::string(r.Bytes(12));
            out.emplace(std::string(r.Bytes(0)), std::move(row));
        });
    if (!ok) {
        out.clear();
        _Fail(QStringLiteral("cannot read the mirror journal"));
    }
    return ok;
}

void MirrorJournal::_Begin()
{
    if (_inTransaction)
        return;
    if (!_database->GetDatabase()->transaction()) {
        _Fail(QStringLiteral("cannot start a journal transaction"));
        return;
    }
    _inTransaction = true;
}

void MirrorJournal::Put(const std::string& folder, const std::string& name, const JournalRow& row)
{
    if (_pair < 0)
        return;
    _Begin();
    auto q = _database->CreateQuery();
    q->prepare(QStringLiteral(
        "INSERT OR REPLACE INTO MirrorJournal (pair, folder, name, type, size, mtimeNs, mode,"
        " sourceDevice, sourceInode, targetDevice, targetInode, targetSize, targetMtimeNs, link,"
        " digest) VALUES (:p, :f, :n, :type, :size, :mtime, :mode, :sd, :si, :td, :ti, :ts, :tm,"
        " :link, :digest)"));
    q->bindValue(QStringLiteral(":p"), _pair);
    q->bindValue(QStringLiteral(":f"), bytes(folder));
    q->bindValue(QStringLiteral(":n"), bytes(name));
    q->bindValue(QStringLiteral(":type"), row.type);
    q->bindValue(QStringLiteral(":size"), qint64(row.size));
    q->bindValue(QStringLiteral(":mtime"), qint64(row.mtimeNs));
    q->bindValue(QStringLiteral(":mode"), qint64(row.mode));
    q->bindValue(QStringLiteral(":sd"), qint64(row.sourceDevice));
    q->bindValue(QStringLiteral(":si"), qint64(row.sourceInode));
    q->bindValue(QStringLiteral(":td"), qint64(row.targetDevice));
    q->bindValue(QStringLiteral(":ti"), qint64(row.targetInode));
    q->bindValue(QStringLiteral(":ts"), qint64(row.targetSize));
    q->bindValue(QStringLiteral(":tm"), qint64(row.targetMtimeNs));
    q->bindValue(QStringLiteral(":link"), bytes(row.link));
    q->bindValue(QStringLiteral(":digest"), bytes(row.digest));
    if (!q->exec())
        _Fail(QStringLiteral("cannot write the mirror journal"));
    if (++_pending >= kRowsPerTransaction)
        Finish();
}

void MirrorJournal::Remove(const std::string& folder, const std::string& name)
{
    if (_pair < 0)
        return;
    _Begin();
    const std::string path = folder.empty() ? name : folder + '/' + name;
    auto q = _database->CreateQuery();
    q->prepare(
        QStringLiteral("DELETE FROM MirrorJournal WHERE pair = :p AND ((folder = :f AND name = :n)"
                       " OR folder = :path OR (folder >= :lo AND folder < :hi))"));
    q->bindValue(QStringLiteral(":p"), _pair);
    q->bindValue(QStringLiteral(":f"), bytes(folder));
    q->bindValue(QStringLiteral(":n"), bytes(name));
    q->bindValue(QStringLiteral(":path"), bytes(path));
    q->bindValue(QStringLiteral(":lo"), below(path));
    q->bindValue(QStringLiteral(":hi"), belowEnd(path));
    if (!q->exec())
        _Fail(QStringLiteral("cannot write the mirror journal"));
    if (++_pending >= kRowsPerTransaction)
        Finish();
}

bool MirrorJournal::Finish()
{
    _pending = 0;
    if (!_inTransaction)
        return _error.isEmpty();
    _inTransaction = false;
    if (_beforeCommit)
        _beforeCommit();
    auto db = _database->GetDatabase();
    if (!db->commit()) {
        _Fail(QStringLiteral("cannot commit the mirror journal"));
        db->rollback();
    }
    return _error.isEmpty();
}

} // namespace mirror
} // namespace sync
} // namespace KvSync_6_0
