#include "Sync/Mirror/MirrorPass.h"

#include "Sync/Mirror/MirrorCopy_p.h"
#include "Sync/Mirror/MirrorJournal_p.h"
#include "Sync/SyncCore/ActionLog.h"
#include "Sync/SyncCore/Consts.h"
#include "Sync/SyncCore/FileNameMatcher.h"
#include "database/SqliteDatabaseFactory.h"
#include "interfaces/IActionLog.h"
#include "interfaces/ICheckForExit.h"
#include "interfaces/IQSqlQueryWrapper.h"
#include "platform/PlatformFs.h"

#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QRegularExpression>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <future>
#include <unistd.h>
#include <unordered_map>
#include <unordered_set>

inline namespace KvSync_6_0 {
namespace sync {
namespace mirror {

namespace fs = platform::fs;
using fs::EntryStat;

namespace {

constexpr size_t kNameMax = NAME_MAX;
// Small files are copied and compared on a worker thread: most of the work is the
// kernel's (open, read, create, rename), which a worker overlaps with this thread's stats
// and history. Below one chunk of the copy loop, a file never reported progress within its
// copy anyway, and a cancel waits for at most a few of them. Larger files stay on the pass's
// thread, to report as they go and stop mid-copy.
constexpr int64_t kWorkerFileBelow = 1 << 20;
// Enough to keep the workers busy while the pass's thread flushes the history, small
// enough that memory stays flat on any tree.
constexpr size_t kJobsInFlight = 64;
// One worker: the pass's thread also copies whenever it would otherwise wait for it, so
// two threads copy at once already; a second worker was no faster and only adds
// switches between threads.
constexpr int kCopyThreads = 1;
constexpr int kRowsPerFlush = 2000;
const char kWorkFolder[] = ".{SyncTemp}";
const char kBackupFolder[] = ".{SyncBackup}";
const char kCompanionSuffix[] = ".DWN";

QString errorText(int negativeErrno)
{
    return QString::fromLocal8Bit(std::strerror(-negativeErrno));
}

bool isValidUtf8(const std::string& s)
{
    const auto* p = reinterpret_cast<const unsigned char*>(s.data());
    const auto* end = p + s.size();
    while (p < end) {
        const unsigned char c = *p;
        if (c < 0x80) {
            ++p;
            continue;
        }
        int extra = 0;
        uint32_t cp = 0;
        if ((c & 0xE0) == 0xC0) {
            extra = 1;
            cp = c & 0x1F;
        } else if ((c & 0xF0) == 0xE0) {
            extra = 2;
            cp = c & 0x0F;
        } else if ((c & 0xF8) == 0xF0) {
            extra = 3;
            cp = c & 0x07;
        } else {
            return false;
        }
        if (end - p <= extra)
            return false;
        for (int i = 1; i <= extra; ++i) {
            if ((p[i] & 0xC0) != 0x80)
                return false;
            cp = (cp << 6) | (p[i] & 0x3F);
        }
        const uint32_t minimum[] = { 0, 0x80, 0x800, 0x10000 };
        if (cp < minimum[extra] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
            return false;
        p += extra + 1;
    }
    return true;
}

// For people and the action log: the text itself, or with each byte that is
// not part of valid UTF-8 shown as \xNN.
QString displayText(const std::string& s)
{
    if (isValidUtf8(s))
        return QString::fromUtf8(s.data(), qsizetype(s.size()));
    QString out;
    for (size_t i = 0; i < s.size();) {
        size_t len = 1;
        const unsigned char c = static_cast<unsigned char>(s[i]);
        if (c >= 0xC0)
            len = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : 2;
        if (c >= 0x80 && (c < 0xC0 || i + len > s.size() || !isValidUtf8(s.substr(i, len)))) {
            out += QStringLiteral("\\x%1").arg(unsigned(c), 2, 16, QLatin1Char('0'));
            ++i;
            continue;
        }
        out += QString::fromUtf8(s.data() + i, qsizetype(len));
        i += len;
    }
    return out;
}

// The download companion of a name: "NAME.DWN" when that fits in a name,
// else a short name derived from it, so that names of up to the file
// system's limit still sync.
std::string companionName(const std::string& name)
{
    if (name.size() + sizeof kCompanionSuffix - 1 <= kNameMax)
        return name + kCompanionSuffix;
    uint64_t h = 1469598103934665603ull;
    for (unsigned char c : name)
        h = (h ^ c) * 1099511628211ull;
    char buffer[40];
    std::snprintf(
        buffer, sizeof buffer, "~%016llx%s", static_cast<unsigned long long>(h), kCompanionSuffix);
    return buffer;
}

const char* typeName(EntryStat::Type type)
{
    switch (type) {
    case EntryStat::Fifo:
        return "a FIFO";
    case EntryStat::Socket:
        return "a socket";
    case EntryStat::CharDevice:
        return "a character device";
    case EntryStat::BlockDevice:
        return "a block device";
    case EntryStat::Folder:
        return "a folder";
    case EntryStat::Link:
        return "a symbolic link";
    case EntryStat::File:
        return "a file";
    default:
        return "an entry of unknown type";
    }
}

/// Empty when @p database is whole, else why not. Runs on any thread, with that thread's
/// connection; never throws.
QString CheckDatabase(sync::core::SqliteDatabaseFactory& database) noexcept
{
    try {
        auto check = database.CreateQuery();
        if (!check->prepare(QStringLiteral("PRAGMA quick_check(1)")) || !check->exec()
            || !check->next()) {
            return QStringLiteral("the database %1 cannot be checked: %2")
                .arg(database.FilePath(), database.LastError());
        }
        if (check->value(0).toString() != QLatin1String("ok")) {
            return QStringLiteral("the database %1 is damaged: %2")
                .arg(database.FilePath(), check->value(0).toString());
        }
        return QString();
    } catch (...) {
        return QStringLiteral("the database cannot be checked: out of memory");
    }
}

std::string joinPath(const std::string& folder, const std::string& name)
{
    return folder.empty() ? name : folder + '/' + name;
}

} // namespace

int MirrorResult::ExitStatus() const
{
    if (!fatalError.isEmpty() || !historyError.isEmpty())
        return 1;
    if (failed > 0)
        return 23;
    return 0;
}

namespace {

// The index of @p name in @p entries sorted by name, -1 when it is not there.
std::ptrdiff_t findByName(const std::vector<fs::FolderEntry>& entries, const std::string& name)
{
    const auto it = std::lower_bound(entries.begin(), entries.end(), name,
        [](const fs::FolderEntry& e, const std::string& n) { return e.name < n; });
    return it != entries.end() && it->name == name ? it - entries.begin() : -1;
}

// The journal vouches for a file's content only while both sides are exactly as it
// recorded them.
bool journalHolds(const JournalRow* row, const EntryStat& s, const EntryStat& t)
{
    return row && t.type == EntryStat::File && row->type == EntryStat::File && row->size == s.size
        && row->mtimeNs == s.mtimeNs && row->sourceInode == s.inode && row->sourceDevice == s.device
        && t.inode == row->targetInode && t.device == row->targetDevice && t.size == row->targetSize
        && t.mtimeNs == row->targetMtimeNs;
}

} // namespace

class Q_DECL_HIDDEN MirrorPass::Private
{
public:
    MirrorOptions options;
    sync::interf::IActionLog* log = nullptr;
    sync::core::ActionLog* ownLog = nullptr; ///< the same, when it is the library's log
    std::shared_ptr<sync::core::SqliteDatabaseFactory> database;
    const sync::core::FileNameMatcher* matcher = nullptr;
    sync::interf::ICheckForExit* exit = nullptr;
    std::function<void(const MirrorProgress&)> progress;
    std::function<void(const MirrorEntry&)> entryCallback;
    std::function<void(Stage, const QByteArray&)> stageHook;
    std::function<void(const QByteArray&)> folderCallback;
    QVector<QRegularExpression> extraExcludes;
    std::atomic<bool> cancel { false };
    std::atomic<int> rowsWritten { 0 };
    QMetaObject::Connection rowsConnection;
    /// Excluded paths already in the history: a watcher's passes record each once per run.
    std::unordered_set<std::string> exclusionsRecorded;

    // State of the pass in progress.
    MirrorResult result;
    MirrorProgress done;
    /// bytesDone when the file being read began, and its size: its reads move progress within.
    qint64 fileStart = 0;
    qint64 fileSize = 0;
    std::unique_ptr<MirrorJournal> journal;
    int rowsQueued = 0;
    std::string sourceRoot;
    std::string targetRoot;

    /// An lstat result: 0 or -errno, and the stat.
    using StatResult = std::pair<int, EntryStat>;

    /// One target folder being filled: its descriptor and, once needed, its working folder.
    struct TargetFolder
    {
        int fd = -1;
        int workFd = -1;
        bool workMade = false;
        /// Copies handed to the workers and not yet applied: the folder's times, its
        /// descriptors and its listing wait for them.
        int copiesPending = 0;
        /// The folder's entries sorted by name, and their lstat in the same order, when they
        /// were taken ahead (see SyncFolder); else null and empty.
        const std::vector<fs::FolderEntry>* entries = nullptr;
        std::vector<StatResult> stats;
        /// The thread that takes them; invalid for small folders. Declared last: its
        /// destructor waits for that thread before the folder can close.
        std::future<void> ahead;
    };

    /// lstat of @p name in the target folder before the pass touches it: 0 or -errno.
    int StatTarget(TargetFolder& target, const std::string& name, EntryStat& t);

    bool Stopping()
    {
        if (cancel.load(std::memory_order_relaxed))
            return true;
        return exit && exit->IsCanceling();
    }

    /// The file in progress has had @p bytes read; reported only when the count moves forward
    /// (a copy retried after a change reads its first bytes again).
    void FileRead(qint64 bytes)
    {
        const qint64 at = fileStart + std::min(bytes, fileSize);
        if (at <= done.bytesDone)
            return;
        done.bytesDone = at;
        if (progress)
            progress(done);
    }

    /// A copy on this thread reports its progress and stops between chunks when asked to.
    static bool CopyStep(void* context, int64_t copied)
    {
        auto* pass = static_cast<Private*>(context);
        pass->FileRead(copied);
        return pass->Stopping();
    }
    static void CopyStage(void* context, MirrorPass::Stage stage)
    {
        auto* pass = static_cast<Private*>(context);
        pass->Stage(stage, pass->copyPath);
    }
    /// The workers' view of a cancel: Cancel() and the exit manager may be asked from any thread.
    static bool WorkerStop(void* context) { return static_cast<Private*>(context)->Stopping(); }
    /// The path of the file copied on this thread, for the stage hook.
    std::string copyPath;

    /// Small files are copied on worker threads while this one walks on; created with the
    /// first such copy, joined when the pass ends. Declared after what WorkerStop reads.
    std::unique_ptr<CopyPool> copier;
    /// Puts a finished copy's outcome into the journal, the history and the result.
    void ApplyCopy(const CopyJob& job, const CopyOutcome& outcome);
    /// Applies the workers' finished copies, oldest first; with @p wait, the oldest at least.
    void TakeCopies(bool wait);
    /// Returns once every copy handed over for @p target has been applied.
    void WaitForCopies(TargetFolder& target);

    void Count(int folderFd);

    void Begin();
    void End();
    /// The damage check's result: empty when the database is whole.
    std::future<QString> databaseCheck;
    bool Excluded(const std::string& name);
    void Log(sync::core::action::ActionType type, const std::string& path, const std::string& name,
        sync::core::actionDetails::DetailsType details, const QStringList& args);
    /// An action whose type says it all (pass frames, folders made, removals): no details text.
    void LogPlain(
        sync::core::action::ActionType type, const std::string& path, const std::string& name);
    /// After each row added to the log.
    void Added();
    void Report(
        EntryAction action, const std::string& path, qint64 bytes, const QString& cause = {});
    void Fail(const std::string& path, const QString& cause);

    void SyncFolder(int sourceFd, int targetFd, const std::string& rel);
    /// Mirrors one name of a folder. @p taken: the name's lstat result when the folder's
    /// were taken together, else null.
    void SyncEntry(int sourceFd, TargetFolder& target, const std::string& rel,
        const std::string& name, const JournalRow* row, const StatResult* taken = nullptr);
    /// True when the copy went to a worker: its outcome, progress included, is applied later.
    bool SyncFile(int sourceFd, TargetFolder& target, const std::string& rel,
        const std::string& name, const EntryStat& s, const JournalRow* row);
    void SyncLink(int sourceFd, TargetFolder& target, const std::string& rel,
        const std::string& name, const EntryStat& s, const JournalRow* row);
    void SyncSubfolder(int sourceFd, TargetFolder& target, const std::string& rel,
        const std::string& name, const EntryStat& s);
    void DeleteFromTarget(TargetFolder& target, const std::string& rel, const std::string& name);
    bool EnsureWorkFolder(TargetFolder& target, const std::string& path);
    void CloseFolder(TargetFolder& target);
    /// A file whose content is the target's: times, mode and journal row brought up to date.
    /// @p digest: the source's MD5 when the comparison took it.
    void KeepUnchanged(TargetFolder& target, const std::string& rel, const std::string& name,
        const EntryStat& s, EntryStat t, const JournalRow* row, const std::string& digest);
    /// Goes on with a file once its comparison is done; true when it went to a worker again.
    /// @p fromWalk: see HandOver()'s waitForRoom.
    bool AfterCompare(const CopyJob& job, const CopyOutcome& outcome, bool fromWalk);
    /// Puts the source's file in place of the target's (@p tr: the target's lstat result);
    /// true when the copy went to a worker. @p fromWalk: see HandOver()'s waitForRoom.
    bool StartCopy(int sourceFd, TargetFolder& target, const std::string& rel,
        const std::string& name, const EntryStat& s, const EntryStat& t, int tr, bool fromWalk);
    /// Hands @p job to the workers. With @p waitForRoom (not while outcomes are being
    /// applied), first applies finished outcomes until fewer than kJobsInFlight are pending.
    void HandOver(CopyJob job, bool waitForRoom);
    /// Hooks for a copy or comparison on this thread: progress, cancel, stage points.
    CopyHooks OwnHooks(const std::string& path);
    void PutJournal(const std::string& rel, const std::string& name, const EntryStat& s,
        const EntryStat& t, const std::string& link, const std::string& digest);
    void Stage(MirrorPass::Stage stage, const std::string& path)
    {
        if (stageHook)
            stageHook(stage, QByteArray(path.data(), qsizetype(path.size())));
    }
};

void MirrorPass::Private::Log(sync::core::action::ActionType type, const std::string& path,
    const std::string& name, sync::core::actionDetails::DetailsType details,
    const QStringList& args)
{
    if (!log || options.dryRun)
        return;
    QStringList escaped;
    for (const QString& a : args)
        escaped.append(a.toHtmlEscaped());
    log->AddAction(type, displayText(path), displayText(name),
        sync::core::SyncDetails(log->BuildDetailsXml(details, escaped)));
    Added();
}

void MirrorPass::Private::Added()
{
    // A thread that runs no event loop never takes the log's timer requests off its
    // queue, and each addition while no timer runs adds one: they are delivered here.
    if (ownLog)
        ownLog->DeliverTimerRequests();
    // The log keeps its queue in memory until a flush: on a first pass of many files
    // that would grow with the tree, so the queue is written every few thousand rows,
    // inside the journal's transaction when one is open.
    if (++rowsQueued % kRowsPerFlush == 0) {
        if (journal && !journal->Finish() && result.historyError.isEmpty())
            result.historyError = journal->Error();
        log->Flush();
    }
}

void MirrorPass::Private::LogPlain(
    sync::core::action::ActionType type, const std::string& path, const std::string& name)
{
    if (!log || options.dryRun)
        return;
    log->AddAction(type, displayText(path), displayText(name), sync::core::SyncDetails());
    Added();
}

void MirrorPass::Private::Report(
    EntryAction action, const std::string& path, qint64 bytes, const QString& cause)
{
    if (!entryCallback)
        return;
    MirrorEntry e;
    e.action = action;
    e.path = QByteArray(path.data(), qsizetype(path.size()));
    e.display = displayText(path);
    e.bytes = bytes;
    e.cause = cause;
    entryCallback(e);
}

void MirrorPass::Private::Fail(const std::string& path, const QString& cause)
{
    ++result.failed;
    MirrorFailure f;
    f.path = QByteArray(path.data(), qsizetype(path.size()));
    f.display = displayText(path);
    f.cause = cause;
    result.failures.append(f);
    const size_t slash = path.rfind('/');
    Log(sync::core::action::UploadFailed, path,
        slash == std::string::npos ? path : path.substr(slash + 1),
        sync::core::actionDetails::TransferFailed, { f.display, cause });
    Report(EntryAction::Failed, path, 0, cause);
}

bool MirrorPass::Private::Excluded(const std::string& name)
{
    if (!matcher && extraExcludes.isEmpty())
        return false;
    const QString text = QString::fromUtf8(name.data(), qsizetype(name.size()));
    if (matcher && matcher->Match(text))
        return true;
    for (const QRegularExpression& re : std::as_const(extraExcludes)) {
        if (re.match(text).hasMatch())
            return true;
    }
    return false;
}

void MirrorPass::Private::Begin()
{
    result = MirrorResult();
    done = MirrorProgress();
    rowsQueued = 0;
    rowsWritten = 0;
    journal.reset();
    if (database && !options.dryRun) {
        // Reading the whole file for damage costs as much as walking a small tree, so it
        // runs beside the walk, on a connection of its own, and is waited for at the end. A
        // damaged journal cannot mislead the pass meanwhile: a row is only trusted when both
        // sides' stats match it exactly.
        databaseCheck
            = std::async(std::launch::async, [db = database] { return CheckDatabase(*db); });
        journal = std::make_unique<MirrorJournal>(database);
        // The action rows of the entries whose journal rows commit go in the same
        // transaction: the history and the journal never disagree on what was done.
        if (log)
            journal->SetBeforeCommit([this] { log->Flush(); });
        if (result.historyError.isEmpty() && !journal->Open(sourceRoot, targetRoot))
            result.historyError = journal->Error();
    }
    LogPlain(sync::core::action::SyncStarted, std::string(), std::string());
}

void MirrorPass::Private::End()
{
    // Damage is the cause of whatever else failed in the database: it is reported first.
    if (databaseCheck.valid()) {
        const QString damage = databaseCheck.get();
        if (!damage.isEmpty())
            result.historyError = damage;
    }
    // Each folder has applied its copies before it closed: the workers are idle, and end here.
    copier.reset();
    if (log && !options.dryRun)
        LogPlain(result.failed > 0 || !result.fatalError.isEmpty()
                ? sync::core::action::SyncFailed
                : sync::core::action::SyncCompleted,
            std::string(), std::string());
    if (journal && !journal->Finish() && result.historyError.isEmpty())
        result.historyError = journal->Error();
    journal.reset();
    if (!log || options.dryRun)
        return;
    log->Flush();
    log->ManageLogSize();
    const int written = rowsWritten.load();
    if (written < rowsQueued && result.historyError.isEmpty()) {
        QString cause = database ? database->LastError() : QString();
        result.historyError = QStringLiteral("%1 of %2 action log rows were not written%3")
                                  .arg(rowsQueued - written)
                                  .arg(rowsQueued)
                                  .arg(cause.isEmpty() ? QString() : QStringLiteral(": ") + cause);
    }
}

int MirrorPass::Private::StatTarget(TargetFolder& target, const std::string& name, EntryStat& t)
{
    if (target.fd < 0)
        return -ENOENT;
    if (target.ahead.valid())
        target.ahead.get();
    if (target.entries && !target.stats.empty()) {
        const std::ptrdiff_t at = findByName(*target.entries, name);
        if (at >= 0) {
            const StatResult& taken = target.stats[size_t(at)];
            t = taken.second;
            return taken.first;
        }
    }
    // A name the listing did not have yet.
    return fs::StatAt(target.fd, name.c_str(), t);
}

void MirrorPass::Private::CloseFolder(TargetFolder& target)
{
    WaitForCopies(target);
    if (target.workFd >= 0) {
        fs::Close(target.workFd);
        target.workFd = -1;
        // Empty once its companions are in place or removed; a failure leaves nothing behind
        // either.
        fs::RemoveTreeAt(target.fd, kWorkFolder);
    }
}

bool MirrorPass::Private::EnsureWorkFolder(TargetFolder& target, const std::string& path)
{
    if (target.workFd >= 0)
        return true;
    int r = fs::CreateFolderAt(target.fd, kWorkFolder, 0700);
    if (r != 0 && r != -EEXIST) {
        Fail(path,
            QStringLiteral("cannot create the working folder %1: %2")
                .arg(QString::fromLatin1(kWorkFolder), errorText(r)));
        return false;
    }
    target.workFd = fs::OpenFolderAt(target.fd, kWorkFolder);
    if (target.workFd < 0) {
        Fail(path,
            QStringLiteral("cannot open the working folder: %1").arg(errorText(target.workFd)));
        target.workFd = -1;
        return false;
    }
    return true;
}

void MirrorPass::Private::PutJournal(const std::string& rel, const std::string& name,
    const EntryStat& s, const EntryStat& t, const std::string& link, const std::string& digest)
{
    if (!journal || !journal->IsOpen())
        return;
    JournalRow row;
    row.type = s.type;
    row.size = s.size;
    row.mtimeNs = s.mtimeNs;
    row.mode = s.mode;
    row.sourceDevice = s.device;
    row.sourceInode = s.inode;
    row.targetDevice = t.device;
    row.targetInode = t.inode;
    row.targetSize = t.size;
    row.targetMtimeNs = t.mtimeNs;
    row.link = link;
    row.digest = digest;
    journal->Put(rel, name, row);
}

void MirrorPass::Private::SyncFolder(int sourceFd, int targetFd, const std::string& rel)
{
    if (folderCallback)
        folderCallback(QByteArray(rel.data(), qsizetype(rel.size())));
    std::vector<fs::FolderEntry> sourceEntries;
    int r = fs::ReadFolder(sourceFd, sourceEntries);
    if (r != 0) {
        Fail(rel, QStringLiteral("cannot read the folder: %1").arg(errorText(r)));
        return;
    }
    const auto byName
        = [](const fs::FolderEntry& a, const fs::FolderEntry& b) { return a.name < b.name; };
    std::sort(sourceEntries.begin(), sourceEntries.end(), byName);

    // Declared before the folder object: the thread that stats ahead uses them until it ends.
    std::vector<fs::FolderEntry> targetEntries;
    std::vector<StatResult> sourceStats;
    std::atomic<size_t> nextSource { 0 };
    const auto statSources = [&sourceEntries, &sourceStats, &nextSource, sourceFd] {
        for (size_t i;
             (i = nextSource.fetch_add(1, std::memory_order_relaxed)) < sourceEntries.size();) {
            sourceStats[i].first
                = fs::StatAt(sourceFd, sourceEntries[i].name.c_str(), sourceStats[i].second);
        }
    };
    TargetFolder target;
    target.fd = targetFd;
    if (targetFd >= 0) {
        r = fs::ReadFolder(targetFd, targetEntries);
        if (r != 0) {
            Fail(rel, QStringLiteral("cannot read the target folder: %1").arg(errorText(r)));
            return;
        }
        // Companions left by a pass that was killed: never content, always removed.
        for (const fs::FolderEntry& e : targetEntries) {
            if (e.name == kWorkFolder && !options.dryRun)
                fs::RemoveTreeAt(targetFd, kWorkFolder);
        }
        // A quick check's two halves are independent: the target's entries are stat'ed on a
        // thread of their own, which then helps with the source's, while this thread reads
        // the journal. Below this size a thread costs more than the stats it would take over.
        constexpr size_t kStatAheadEntries = 32;
        if (targetEntries.size() >= kStatAheadEntries) {
            std::sort(targetEntries.begin(), targetEntries.end(), byName);
            target.entries = &targetEntries;
            target.stats.resize(targetEntries.size());
            sourceStats.resize(sourceEntries.size());
            target.ahead = std::async(std::launch::async,
                [targetFd, &targetEntries, stats = target.stats.data(), &statSources] {
                    for (size_t i = 0; i < targetEntries.size(); ++i)
                        stats[i].first
                            = fs::StatAt(targetFd, targetEntries[i].name.c_str(), stats[i].second);
                    statSources();
                });
        }
    }

    JournalFolder rows;
    if (journal && journal->IsOpen())
        journal->LoadFolder(rel, rows);
    if (target.ahead.valid()) {
        statSources();
        // The other thread may still be on a source entry it took.
        target.ahead.get();
    }

    const auto inSource = [&sourceEntries](const std::string& name) {
        return findByName(sourceEntries, name) >= 0;
    };
    for (size_t i = 0; i < sourceEntries.size(); ++i) {
        const fs::FolderEntry& e = sourceEntries[i];
        if (e.name == kWorkFolder || e.name == kBackupFolder)
            continue;
        if (Stopping()) {
            result.interrupted = true;
            break;
        }
        auto it = rows.find(e.name);
        SyncEntry(sourceFd, target, rel, e.name, it == rows.end() ? nullptr : &it->second,
            sourceStats.empty() ? nullptr : &sourceStats[i]);
    }
    CloseFolder(target);
    if (result.interrupted)
        return;

    // Every source name but the pass's own folders was met above.
    if (targetFd >= 0 && options.deleteExtra) {
        for (const fs::FolderEntry& e : targetEntries) {
            if (e.name == kWorkFolder || e.name == kBackupFolder || inSource(e.name))
                continue;
            // What the rule excludes is not ours to delete.
            if (Excluded(e.name))
                continue;
            DeleteFromTarget(target, rel, e.name);
        }
    }
    // Rows of names the source no longer has describe nothing.
    if (journal && journal->IsOpen() && !options.dryRun) {
        for (const auto& row : rows) {
            if (!inSource(row.first) || row.first == kWorkFolder || row.first == kBackupFolder)
                journal->Remove(rel, row.first);
        }
    }
}

void MirrorPass::Private::Count(int folderFd)
{
    std::vector<fs::FolderEntry> entries;
    // What cannot be read here is the pass's to report.
    if (fs::ReadFolder(folderFd, entries) != 0)
        return;
    for (const fs::FolderEntry& e : entries) {
        if (e.name == kWorkFolder || e.name == kBackupFolder || Excluded(e.name))
            continue;
        if (Stopping())
            return;
        EntryStat::Type type = e.type;
        qint64 size = 0;
        // Only a file's size needs a stat; the listing's type spares it for the rest.
        if (type == EntryStat::File || type == EntryStat::Other) {
            EntryStat s;
            if (fs::StatAt(folderFd, e.name.c_str(), s) != 0)
                continue;
            type = s.type;
            size = s.size;
        }
        if (type == EntryStat::File) {
            ++done.filesTotal;
            done.bytesTotal += size;
        } else if (type == EntryStat::Folder) {
            Fd child(fs::OpenFolderAt(folderFd, e.name.c_str()));
            if (child.fd >= 0)
                Count(child.fd);
        }
    }
}

void MirrorPass::Private::DeleteFromTarget(
    TargetFolder& target, const std::string& rel, const std::string& name)
{
    const std::string path = joinPath(rel, name);
    if (!options.dryRun) {
        const int r = fs::RemoveTreeAt(target.fd, name.c_str());
        if (r != 0 && r != -ENOENT) {
            ++result.failed;
            MirrorFailure f { QByteArray(path.data(), qsizetype(path.size())), displayText(path),
                QStringLiteral("cannot delete from the target: %1").arg(errorText(r)) };
            result.failures.append(f);
            Log(sync::core::action::DeleteFailed, path, name,
                sync::core::actionDetails::TransferFailed, { f.display, f.cause });
            Report(EntryAction::Failed, path, 0, f.cause);
            return;
        }
        if (journal && journal->IsOpen())
            journal->Remove(rel, name);
    }
    ++result.deleted;
    LogPlain(sync::core::action::RemoteItemDeleted, path, name);
    Report(EntryAction::Deleted, path, 0);
}

void MirrorPass::Private::SyncEntry(int sourceFd, TargetFolder& target, const std::string& rel,
    const std::string& name, const JournalRow* row, const StatResult* taken)
{
    const std::string path = joinPath(rel, name);
    if (Excluded(name)) {
        ++result.excluded;
        if (options.dryRun || exclusionsRecorded.insert(path).second)
            Log(sync::core::action::ItemSkipped, path, name,
                sync::core::actionDetails::ItemExcluded, { displayText(path) });
        Report(EntryAction::Excluded, path, 0);
        return;
    }
    EntryStat s = taken ? taken->second : EntryStat();
    int r = taken ? taken->first : fs::StatAt(sourceFd, name.c_str(), s);
    if (r == -ENOENT)
        return; // gone since the listing: nothing to mirror
    if (r != 0) {
        Fail(path, QStringLiteral("cannot read: %1").arg(errorText(r)));
        return;
    }
    switch (s.type) {
    case EntryStat::Folder:
        SyncSubfolder(sourceFd, target, rel, name, s);
        break;
    case EntryStat::File:
        ++result.files;
        result.bytes += s.size;
        fileStart = done.bytesDone;
        fileSize = s.size;
        if (SyncFile(sourceFd, target, rel, name, s, row))
            break;
        ++done.filesDone;
        done.bytesDone = fileStart + s.size;
        if (progress)
            progress(done);
        break;
    case EntryStat::Link:
        ++result.links;
        SyncLink(sourceFd, target, rel, name, s, row);
        break;
    default:
        Fail(path, QStringLiteral("%1 is not mirrored").arg(QString::fromLatin1(typeName(s.type))));
        break;
    }
}

void MirrorPass::Private::SyncSubfolder(int sourceFd, TargetFolder& target, const std::string& rel,
    const std::string& name, const EntryStat& s)
{
    ++result.folders;
    const std::string path = joinPath(rel, name);
    Fd source(fs::OpenFolderAt(sourceFd, name.c_str()));
    if (source.fd < 0) {
        Fail(path, QStringLiteral("cannot open the folder: %1").arg(errorText(source.fd)));
        return;
    }
    Fd child;
    if (target.fd >= 0) {
        EntryStat t;
        int r = StatTarget(target, name, t);
        if (r == 0 && t.type != EntryStat::Folder && !options.dryRun) {
            // A file or link stands where the folder goes: the folder replaces it.
            r = fs::RemoveFileAt(target.fd, name.c_str());
            if (r != 0) {
                Fail(path,
                    QStringLiteral("cannot replace %1 in the target: %2")
                        .arg(QString::fromLatin1(typeName(t.type)), errorText(r)));
                return;
            }
            r = -ENOENT;
        }
        if (r == -ENOENT || (r == 0 && t.type != EntryStat::Folder)) {
            if (!options.dryRun) {
                r = fs::CreateFolderAt(target.fd, name.c_str(), 0700);
                if (r != 0) {
                    Fail(path, QStringLiteral("cannot create the folder: %1").arg(errorText(r)));
                    return;
                }
            }
            LogPlain(sync::core::action::RemoteFolderCreated, path, name);
            Report(EntryAction::FolderMade, path, 0);
        } else if (r != 0) {
            Fail(path, QStringLiteral("cannot read the target folder: %1").arg(errorText(r)));
            return;
        }
        if (!options.dryRun || r == 0) {
            child.reset(fs::OpenFolderAt(target.fd, name.c_str()));
            if (child.fd < 0 && !options.dryRun) {
                Fail(path,
                    QStringLiteral("cannot open the target folder: %1").arg(errorText(child.fd)));
                return;
            }
        }
    }
    SyncFolder(source.fd, child.fd, path);
    if (child.fd < 0 || options.dryRun)
        return;
    // After the children: writing them moved the folder's own time.
    EntryStat t;
    if (fs::StatFd(child.fd, t) == 0) {
        if (t.mode != s.mode)
            fs::SetModeFd(child.fd, s.mode);
        if (t.mtimeNs != s.mtimeNs && !result.interrupted)
            fs::SetTimesFd(child.fd, s.mtimeNs);
    }
}

void MirrorPass::Private::SyncLink(int sourceFd, TargetFolder& target, const std::string& rel,
    const std::string& name, const EntryStat& s, const JournalRow* row)
{
    const std::string path = joinPath(rel, name);
    std::string text;
    int r = fs::ReadLinkAt(sourceFd, name.c_str(), text);
    if (r != 0) {
        Fail(path, QStringLiteral("cannot read the link: %1").arg(errorText(r)));
        return;
    }
    EntryStat t;
    const int tr = StatTarget(target, name, t);
    if (tr == 0 && t.type == EntryStat::Link) {
        std::string existing;
        if (fs::ReadLinkAt(target.fd, name.c_str(), existing) == 0 && existing == text) {
            if (!row && !options.dryRun)
                PutJournal(rel, name, s, t, text, std::string());
            return;
        }
    }
    if (tr == 0 && t.type == EntryStat::Folder && !options.deleteExtra) {
        Fail(path, QStringLiteral("a folder is in the way in the target"));
        return;
    }
    if (!options.dryRun) {
        if (!EnsureWorkFolder(target, path))
            return;
        const std::string companion = companionName(name);
        fs::RemoveFileAt(target.workFd, companion.c_str());
        r = fs::CreateLinkAt(text, target.workFd, companion.c_str());
        if (r == 0) {
            fs::SetTimesAt(target.workFd, companion.c_str(), s.mtimeNs);
            if (tr == 0 && t.type == EntryStat::Folder)
                fs::RemoveTreeAt(target.fd, name.c_str());
            r = fs::ReplaceAt(target.workFd, companion.c_str(), target.fd, name.c_str());
        }
        if (r != 0) {
            fs::RemoveFileAt(target.workFd, companion.c_str());
            Fail(path, QStringLiteral("cannot put the link in place: %1").arg(errorText(r)));
            return;
        }
        EntryStat placed;
        if (fs::StatAt(target.fd, name.c_str(), placed) == 0)
            PutJournal(rel, name, s, placed, text, std::string());
    }
    Log(sync::core::action::FileUploaded, path, name, sync::core::actionDetails::FileTransferred,
        { displayText(path), QString::number(text.size()) });
    Report(EntryAction::Linked, path, qint64(text.size()));
}

bool MirrorPass::Private::SyncFile(int sourceFd, TargetFolder& target, const std::string& rel,
    const std::string& name, const EntryStat& s, const JournalRow* row)
{
    const std::string path = joinPath(rel, name);
    EntryStat t;
    const int tr = StatTarget(target, name, t);
    const bool targetIsFile = tr == 0 && t.type == EntryStat::File;
    if (tr == 0 && t.type == EntryStat::Folder && !options.deleteExtra) {
        Fail(path, QStringLiteral("a folder is in the way in the target"));
        return false;
    }
    if (!targetIsFile || t.size != s.size)
        return StartCopy(sourceFd, target, rel, name, s, t, tr, true);

    const bool holds = journalHolds(row, s, t);
    if (holds && !options.checksum) {
        KeepUnchanged(target, rel, name, s, t, row, std::string());
        return false;
    }
    // Both sides are read: --checksum is asked for when the target may have been changed
    // behind the journal's back.
    CopyJob job;
    job.sourceFd = sourceFd;
    job.targetFd = target.fd;
    job.rel = rel;
    job.name = name;
    job.source = s;
    job.target = t;
    job.row = row;
    job.folder = &target;
    job.compareOnly = true;
    // The digest is recorded once; later comparisons only compare.
    job.hashIt = !holds || row->digest.empty();
    if (s.size < kWorkerFileBelow && !stageHook) {
        HandOver(std::move(job), true);
        return true;
    }
    return AfterCompare(job, CompareFile(job, OwnHooks(path)), true);
}

void MirrorPass::Private::KeepUnchanged(TargetFolder& target, const std::string& rel,
    const std::string& name, const EntryStat& s, EntryStat t, const JournalRow* row,
    const std::string& digest)
{
    ++result.unchanged;
    if (options.dryRun)
        return;
    bool touched = false;
    if (t.mode != s.mode) {
        fs::SetModeAt(target.fd, name.c_str(), s.mode);
        touched = true;
    }
    if (t.mtimeNs != s.mtimeNs) {
        fs::SetTimesAt(target.fd, name.c_str(), s.mtimeNs);
        touched = true;
    }
    const bool holds = journalHolds(row, s, t);
    if (touched)
        fs::StatAt(target.fd, name.c_str(), t);
    if (touched || !holds || row->mode != s.mode || (!digest.empty() && digest != row->digest))
        PutJournal(rel, name, s, t, std::string(), digest.empty() && row ? row->digest : digest);
    if (touched)
        Report(EntryAction::Updated, joinPath(rel, name), 0);
}

bool MirrorPass::Private::AfterCompare(const CopyJob& job, const CopyOutcome& o, bool fromWalk)
{
    if (o.interrupted) {
        result.interrupted = true;
        return false;
    }
    auto& target = *static_cast<TargetFolder*>(job.folder);
    if (o.failure != CopyOutcome::None) {
        Fail(joinPath(job.rel, job.name),
            QStringLiteral("cannot read the file: %1").arg(errorText(o.errorCode)));
        return false;
    }
    if (o.comparison == CopyOutcome::Same) {
        KeepUnchanged(target, job.rel, job.name, job.source, job.target,
            static_cast<const JournalRow*>(job.row), o.digest);
        return false;
    }
    // Only a file of the same size in the target is compared.
    return StartCopy(job.sourceFd, target, job.rel, job.name, job.source, job.target, 0, fromWalk);
}

bool MirrorPass::Private::StartCopy(int sourceFd, TargetFolder& target, const std::string& rel,
    const std::string& name, const EntryStat& s, const EntryStat& t, int tr, bool fromWalk)
{
    const std::string path = joinPath(rel, name);
    if (options.dryRun) {
        ++result.copied;
        result.bytesCopied += s.size;
        Report(EntryAction::Copied, path, s.size);
        return false;
    }
    if (!EnsureWorkFolder(target, path))
        return false;
    CopyJob job;
    job.sourceFd = sourceFd;
    job.targetFd = target.fd;
    job.workFd = target.workFd;
    job.rel = rel;
    job.name = name;
    job.companion = companionName(name);
    job.source = s;
    job.replacing = tr == 0;
    job.folderInTheWay = tr == 0 && t.type == EntryStat::Folder;
    job.attempts = std::max(1, options.changeRetries);
    job.folder = &target;
    // The stage hook's points must come in order from this thread.
    if (s.size < kWorkerFileBelow && !stageHook && !job.folderInTheWay) {
        HandOver(std::move(job), fromWalk);
        return true;
    }
    const CopyOutcome outcome = CopyFile(job, OwnHooks(path));
    ApplyCopy(job, outcome);
    return false;
}

void MirrorPass::Private::HandOver(CopyJob job, bool waitForRoom)
{
    if (!copier)
        copier = std::make_unique<CopyPool>(kCopyThreads, &Private::WorkerStop, this);
    auto& target = *static_cast<TargetFolder*>(job.folder);
    while (waitForRoom && copier->InFlight() >= kJobsInFlight)
        TakeCopies(true);
    copier->Submit(std::move(job));
    ++target.copiesPending;
    if (waitForRoom)
        TakeCopies(false);
}

CopyHooks MirrorPass::Private::OwnHooks(const std::string& path)
{
    copyPath = path;
    CopyHooks hooks;
    hooks.step = &Private::CopyStep;
    hooks.stage = stageHook ? &Private::CopyStage : nullptr;
    hooks.context = this;
    return hooks;
}

void MirrorPass::Private::ApplyCopy(const CopyJob& job, const CopyOutcome& o)
{
    const std::string path = joinPath(job.rel, job.name);
    if (o.interrupted) {
        result.interrupted = true;
        return;
    }
    switch (o.failure) {
    case CopyOutcome::None:
        break;
    case CopyOutcome::NotRegular:
        Fail(path, QStringLiteral("it stopped being a regular file while it was copied"));
        return;
    case CopyOutcome::CannotRead:
        Fail(path, QStringLiteral("cannot read: %1").arg(errorText(o.errorCode)));
        return;
    case CopyOutcome::CannotCreate:
        Fail(path, QStringLiteral("cannot write the companion: %1").arg(errorText(o.errorCode)));
        return;
    case CopyOutcome::CannotCopy:
        Fail(path, QStringLiteral("cannot copy: %1").arg(errorText(o.errorCode)));
        return;
    case CopyOutcome::Changed:
        Fail(path, QStringLiteral("it changed while it was copied (%1 attempts)").arg(o.attempts));
        return;
    case CopyOutcome::CannotFlush:
        Fail(path, QStringLiteral("cannot write: %1").arg(errorText(o.errorCode)));
        return;
    case CopyOutcome::CannotPlace:
        Fail(path, QStringLiteral("cannot put it in place: %1").arg(errorText(o.errorCode)));
        return;
    }
    EntryStat source = job.source;
    source.inode = o.before.inode;
    source.device = o.before.device;
    source.mtimeNs = o.before.mtimeNs;
    source.size = o.before.size;
    source.mode = o.before.mode;
    PutJournal(job.rel, job.name, source, o.placed, std::string(), o.digest);
    Stage(MirrorPass::Stage::JournalWritten, path);
    ++result.copied;
    result.bytesCopied += o.copied;
    Log(sync::core::action::FileUploaded, path, job.name,
        sync::core::actionDetails::FileTransferred,
        { displayText(path), QString::number(o.copied) });
    Report(EntryAction::Copied, path, o.copied);
}

void MirrorPass::Private::TakeCopies(bool wait)
{
    CopyJob job;
    CopyOutcome outcome;
    while (copier && copier->TakeDone(wait, job, outcome)) {
        wait = false;
        --static_cast<TargetFolder*>(job.folder)->copiesPending;
        if (!job.compareOnly)
            ApplyCopy(job, outcome);
        else if (AfterCompare(job, outcome, false))
            continue; // to be copied: counted once that is done
        // Counted here rather than when the walk met the file: progress only moves forward.
        ++done.filesDone;
        done.bytesDone += job.source.size;
        if (progress)
            progress(done);
    }
}

void MirrorPass::Private::WaitForCopies(TargetFolder& target)
{
    while (target.copiesPending > 0)
        TakeCopies(true);
}

MirrorPass::MirrorPass(MirrorOptions options, sync::interf::IActionLog* log,
    std::shared_ptr<sync::core::SqliteDatabaseFactory> database,
    const sync::core::FileNameMatcher* matcher, sync::interf::ICheckForExit* exit)
    : d(std::make_unique<Private>())
{
    d->options = std::move(options);
    d->log = log;
    d->ownLog = qobject_cast<sync::core::ActionLog*>(log);
    d->database = std::move(database);
    d->matcher = matcher;
    d->exit = exit;
    for (const QString& pattern : std::as_const(d->options.excludes))
        d->extraExcludes.append(
            QRegularExpression(pattern, QRegularExpression::CaseInsensitiveOption));
    if (log) {
        std::atomic<int>* counter = &d->rowsWritten;
        d->rowsConnection = QObject::connect(
            log, &sync::interf::IActionLog::ActionAdded, log,
            [counter](const sync::core::SyncAction&) { ++*counter; }, Qt::DirectConnection);
    }
}

MirrorPass::~MirrorPass()
{
    QObject::disconnect(d->rowsConnection);
}

void MirrorPass::SetProgressCallback(std::function<void(const MirrorProgress&)> callback)
{
    d->progress = std::move(callback);
}

void MirrorPass::SetEntryCallback(std::function<void(const MirrorEntry&)> callback)
{
    d->entryCallback = std::move(callback);
}

void MirrorPass::SetFolderCallback(std::function<void(const QByteArray&)> callback)
{
    d->folderCallback = std::move(callback);
}

void MirrorPass::__TEST_ONLY_SetStageHook(std::function<void(Stage, const QByteArray&)> hook)
{
    d->stageHook = std::move(hook);
}

void MirrorPass::Cancel()
{
    d->cancel = true;
}

namespace {

// The deepest existing folder of @p path resolved (links and all), followed by the rest as written.
std::string resolveMaybeMissing(const std::string& path)
{
    std::string head = path, tail;
    while (!head.empty()) {
        std::string real;
        if (fs::RealPath(head, real) == 0)
            return tail.empty() ? real : (real == "/" ? real + tail : real + '/' + tail);
        const size_t slash = head.rfind('/');
        if (slash == std::string::npos)
            break;
        tail = tail.empty() ? head.substr(slash + 1) : head.substr(slash + 1) + '/' + tail;
        head = slash == 0 ? std::string("/") : head.substr(0, slash);
        if (head == "/" && fs::RealPath(head, real) == 0)
            return "/" + tail;
    }
    return path;
}

bool isInside(const std::string& inner, const std::string& outer)
{
    if (outer == "/")
        return true;
    return inner == outer
        || (inner.size() > outer.size() && inner.compare(0, outer.size(), outer) == 0
            && inner[outer.size()] == '/');
}

// True when a folder with @p device and @p inode is @p path or one of the folders above it.
// Catches what real paths miss: bind mounts of the same folder.
bool hasAncestor(const std::string& path, uint64_t device, uint64_t inode)
{
    std::string p = path;
    for (int depth = 0; depth < 4096; ++depth) {
        EntryStat st;
        if (fs::StatAt(fs::CurrentFolder(), p.c_str(), st) == 0 && st.device == device
            && st.inode == inode)
            return true;
        if (p == "/")
            return false;
        const size_t slash = p.rfind('/');
        if (slash == std::string::npos)
            return false;
        p = slash == 0 ? std::string("/") : p.substr(0, slash);
    }
    return false;
}

std::string absolute(const QString& path)
{
    QByteArray b = path.toLocal8Bit();
    std::string s(b.constData(), size_t(b.size()));
    if (!s.empty() && s[0] != '/') {
        char cwd[PATH_MAX];
        if (getcwd(cwd, sizeof cwd))
            s = std::string(cwd) + '/' + s;
    }
    while (s.size() > 1 && s.back() == '/')
        s.pop_back();
    return s;
}

} // namespace

QString MirrorPass::CheckFolders(
    const QString& sourceText, const QString& targetText, bool createTarget)
{
    const std::string sourceAbs = absolute(sourceText);
    const std::string targetAbs = absolute(targetText);
    std::string source;
    if (fs::RealPath(sourceAbs, source) != 0)
        return QStringLiteral("source %1 does not exist").arg(sourceText);
    EntryStat s;
    if (fs::StatAt(fs::CurrentFolder(), source.c_str(), s) != 0 || s.type != EntryStat::Folder)
        return QStringLiteral("source %1 is not a folder").arg(sourceText);
    const std::string target = resolveMaybeMissing(targetAbs);
    if (isInside(target, source) || hasAncestor(target, s.device, s.inode))
        return QStringLiteral("target %1 lies inside source %2").arg(targetText, sourceText);
    EntryStat t;
    const bool targetExists = fs::StatAt(fs::CurrentFolder(), target.c_str(), t) == 0;
    if (isInside(source, target) || (targetExists && hasAncestor(source, t.device, t.inode)))
        return QStringLiteral("source %1 lies inside target %2").arg(sourceText, targetText);
    if (targetExists && t.type != EntryStat::Folder)
        return QStringLiteral("target %1 exists and is not a folder").arg(targetText);
    if (!targetExists && createTarget) {
        // Create every missing folder down to the target.
        for (size_t at = 1; at <= target.size(); ++at) {
            if (at == target.size() || target[at] == '/') {
                const std::string part = target.substr(0, at);
                const int r = fs::CreateFolderAt(fs::CurrentFolder(), part.c_str(), 0777);
                if (r != 0 && r != -EEXIST)
                    return QStringLiteral("cannot create target folder %1: %2")
                        .arg(targetText, errorText(r));
            }
        }
    }
    return QString();
}

MirrorResult MirrorPass::Run()
{
    QElapsedTimer clock;
    clock.start();
    d->cancel = false;
    const QString check = CheckFolders(d->options.source, d->options.target, !d->options.dryRun);
    if (!check.isEmpty()) {
        MirrorResult r;
        r.fatalError = check;
        return r;
    }
    fs::RealPath(absolute(d->options.source), d->sourceRoot);
    d->targetRoot = resolveMaybeMissing(absolute(d->options.target));
    d->Begin();
    Fd source(fs::OpenFolderAt(fs::CurrentFolder(), d->sourceRoot.c_str()));
    Fd target(fs::OpenFolderAt(fs::CurrentFolder(), d->targetRoot.c_str()));
    // A dry run into a target that does not exist yet walks the source as into an empty one.
    const bool missingTarget = d->options.dryRun && target.fd == -ENOENT;
    if (source.fd < 0) {
        d->result.fatalError = QStringLiteral("cannot open source %1: %2")
                                   .arg(d->options.source, errorText(source.fd));
    } else if (target.fd < 0 && !missingTarget) {
        d->result.fatalError = QStringLiteral("cannot open target %1: %2")
                                   .arg(d->options.target, errorText(target.fd));
    } else {
        if (d->options.countAhead) {
            d->Count(source.fd);
            if (d->progress)
                d->progress(d->done);
        }
        d->SyncFolder(source.fd, target.fd, std::string());
    }
    d->End();
    d->result.elapsedMs = clock.elapsed();
    return d->result;
}

MirrorResult MirrorPass::RunPaths(const QVector<QByteArray>& pathsIn)
{
    QElapsedTimer clock;
    clock.start();
    d->cancel = false;
    if (d->sourceRoot.empty() || d->targetRoot.empty()) {
        fs::RealPath(absolute(d->options.source), d->sourceRoot);
        fs::RealPath(absolute(d->options.target), d->targetRoot);
    }
    QVector<QByteArray> paths = pathsIn;
    std::sort(paths.begin(), paths.end());
    paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
    d->Begin();
    Fd sourceRoot(fs::OpenFolderAt(fs::CurrentFolder(), d->sourceRoot.c_str()));
    Fd targetRoot(fs::OpenFolderAt(fs::CurrentFolder(), d->targetRoot.c_str()));
    if (sourceRoot.fd < 0 || targetRoot.fd < 0) {
        d->result.fatalError
            = QStringLiteral("cannot open the folders: %1")
                  .arg(errorText(sourceRoot.fd < 0 ? sourceRoot.fd : targetRoot.fd));
        d->End();
        return d->result;
    }
    for (const QByteArray& p : std::as_const(paths)) {
        if (d->Stopping()) {
            d->result.interrupted = true;
            break;
        }
        std::string path(p.constData(), size_t(p.size()));
        if (path.empty()) {
            // The top folder itself: its own times and permissions only.
            continue;
        }
        // Walk down both trees to the parent, never through a link, skipping
        // what the rule excludes and the working folders.
        Fd sourceFd(dup(sourceRoot.fd)), targetFd(dup(targetRoot.fd));
        std::string rel;
        bool reachable = true;
        size_t start = 0;
        for (;;) {
            const size_t slash = path.find('/', start);
            if (slash == std::string::npos)
                break;
            const std::string part = path.substr(start, slash - start);
            if (part == kWorkFolder || part == kBackupFolder || d->Excluded(part)) {
                reachable = false;
                break;
            }
            sourceFd.reset(fs::OpenFolderAt(sourceFd.fd, part.c_str()));
            targetFd.reset(fs::OpenFolderAt(targetFd.fd, part.c_str()));
            if (sourceFd.fd < 0 || targetFd.fd < 0) {
                // A folder on the way is new or gone: its own event mirrors it whole.
                reachable = false;
                break;
            }
            rel = joinPath(rel, part);
            start = slash + 1;
        }
        const std::string name = path.substr(start);
        if (!reachable || name == kWorkFolder || name == kBackupFolder)
            continue;
        JournalFolder rows;
        if (d->journal && d->journal->IsOpen())
            d->journal->LoadFolder(rel, rows);
        auto it = rows.find(name);
        EntryStat s;
        Private::TargetFolder target;
        target.fd = targetFd.fd;
        const int sr = fs::StatAt(sourceFd.fd, name.c_str(), s);
        if (sr == 0) {
            d->SyncEntry(sourceFd.fd, target, rel, name, it == rows.end() ? nullptr : &it->second);
            d->CloseFolder(target);
        } else if (sr != -ENOENT) {
            d->Fail(path, QStringLiteral("cannot read: %1").arg(errorText(sr)));
        } else {
            EntryStat t;
            if (d->options.deleteExtra && fs::StatAt(targetFd.fd, name.c_str(), t) == 0
                && !d->Excluded(name))
                d->DeleteFromTarget(target, rel, name);
            else if (it != rows.end() && d->journal && !d->options.dryRun)
                d->journal->Remove(rel, name);
        }
        // The parent folder's time moved with the change; mirror it.
        if (!d->options.dryRun && !rel.empty()) {
            EntryStat sf, tf;
            if (fs::StatFd(sourceFd.fd, sf) == 0 && fs::StatFd(targetFd.fd, tf) == 0
                && sf.mtimeNs != tf.mtimeNs)
                fs::SetTimesFd(targetFd.fd, sf.mtimeNs);
        }
    }
    d->End();
    d->result.elapsedMs = clock.elapsed();
    return d->result;
}

} // namespace mirror
} // namespace sync
} // namespace KvSync_6_0
