#pragma once

// The tool's one size formatter, its time texts and the progress line that
// long commands draw on standard error.

#include <QDateTime>
#include <QElapsedTimer>
#include <QString>

namespace tool {

/// A byte count for people, in binary units: "512 B", "1.5 KiB", "3.2 MiB", "1.07 GiB".
QString formatSize(qint64 bytes);

/// An instant as ISO 8601 local time with its offset and milliseconds
/// ("2026-11-25T07:01:02.345+01:00").
QString isoTime(const QDateTime& time);

/**
 * The progress line of a long command: bytes and files done of the total,
 * rate and time left. Drawn on standard error only when it is a terminal (and
 * the command was not asked to be quiet), redrawn at most ten times a second,
 * cleared by finish(). The counts come from the bytes the command itself reads.
 */
class Progress
{
public:
    /// @p enabled false makes every call a no-op (not a terminal, --quiet, --json).
    explicit Progress(bool enabled);
    ~Progress();

    /// Changes the totals; the same totals again cost nothing.
    void setTotals(qint64 bytes, int files);
    /// @p bytes more were read.
    void addBytes(qint64 bytes);
    /// One more file is done.
    void addFile();
    /// The counts so far, for a caller that keeps them itself.
    void setDone(qint64 bytes, int files);
    /// Clears the line; called by the destructor too.
    void finish();

    /// False when every call is a no-op.
    bool enabled() const { return _enabled; }

    /// True when standard error is a terminal, the condition for drawing.
    static bool wanted();

private:
    void _Draw(bool force);

    bool _enabled;
    bool _drawn = false;
    qint64 _bytesTotal = 0;
    qint64 _bytesDone = 0;
    int _filesTotal = 0;
    int _filesDone = 0;
    QElapsedTimer _clock;
    qint64 _lastDrawMs = -1000;
};

} // namespace tool
