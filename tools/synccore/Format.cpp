#include "Format.h"

#include "Command.h"

namespace tool {

QString formatSize(qint64 bytes)
{
    static const char* const units[] = { "KiB", "MiB", "GiB", "TiB", "PiB", "EiB" };
    if (bytes < 1024 && bytes > -1024)
        return QStringLiteral("%1 B").arg(bytes);
    double value = double(bytes);
    int unit = -1;
    while ((value >= 1024.0 || value <= -1024.0) && unit < 5) {
        value /= 1024.0;
        ++unit;
    }
    // Three significant digits, as du -h and ls -lh give.
    const int decimals = (value < 10.0 && value > -10.0) ? 2
        : (value < 100.0 && value > -100.0)              ? 1
                                                         : 0;
    return QStringLiteral("%1 %2").arg(value, 0, 'f', decimals).arg(QLatin1String(units[unit]));
}

QString isoTime(const QDateTime& time)
{
    return time.toOffsetFromUtc(time.toLocalTime().offsetFromUtc()).toString(Qt::ISODateWithMs);
}

Progress::Progress(bool enabled)
    : _enabled(enabled)
{
    _clock.start();
}

Progress::~Progress()
{
    finish();
}

bool Progress::wanted()
{
    return stderrIsTerminal();
}

void Progress::setTotals(qint64 bytes, int files)
{
    if (bytes == _bytesTotal && files == _filesTotal)
        return;
    _bytesTotal = bytes;
    _filesTotal = files;
    _Draw(false);
}

void Progress::addBytes(qint64 bytes)
{
    _bytesDone += bytes;
    _Draw(false);
}

void Progress::addFile()
{
    ++_filesDone;
    _Draw(false);
}

void Progress::setDone(qint64 bytes, int files)
{
    _bytesDone = bytes;
    _filesDone = files;
    _Draw(false);
}

void Progress::finish()
{
    if (_enabled && _drawn)
        errRaw(QStringLiteral("\r\x1b[2K"));
    _drawn = false;
}

void Progress::_Draw(bool force)
{
    if (!_enabled)
        return;
    const qint64 now = _clock.elapsed();
    if (!force && now - _lastDrawMs < 100)
        return;
    _lastDrawMs = now;
    const double seconds = double(qMax<qint64>(now, 1)) / 1000.0;
    const double rate = double(_bytesDone) / seconds;
    QString left = QStringLiteral("--:--");
    if (rate > 0 && _bytesTotal >= _bytesDone) {
        const qint64 s = qint64(double(_bytesTotal - _bytesDone) / rate);
        left = QStringLiteral("%1:%2").arg(s / 60).arg(s % 60, 2, 10, QLatin1Char('0'));
    }
    if (_bytesTotal == 0 && _filesTotal == 0) {
        // A single walk does not know its totals ahead: counts and rate only.
        errRaw(QStringLiteral("\r\x1b[2K%1, %2 files, %3/s")
                   .arg(formatSize(_bytesDone))
                   .arg(_filesDone)
                   .arg(formatSize(qint64(rate))));
        _drawn = true;
        return;
    }
    errRaw(QStringLiteral("\r\x1b[2K%1 of %2, %3/%4 files, %5/s, %6 left")
               .arg(formatSize(_bytesDone), formatSize(_bytesTotal))
               .arg(_filesDone)
               .arg(_filesTotal)
               .arg(formatSize(qint64(rate)), left));
    _drawn = true;
}

} // namespace tool
