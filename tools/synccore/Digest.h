#pragma once

// md5 and sha1: digests printed as md5sum and sha1sum print them.

#include <QCryptographicHash>

#include <functional>

namespace tool {

class Invocation;

/**
 * Prints "<digest>  <file>" for each file argument. @p libraryDigest computes a
 * file's digest (empty or null when it cannot be read). With a progress line,
 * the command reads the files itself in chunks through @p algorithm instead,
 * which gives the same digest and lets it count the bytes it reads.
 * ExitFailure when any file could not be read (the others are still printed).
 */
int printDigests(const Invocation& in, QCryptographicHash::Algorithm algorithm,
    const std::function<QString(const QString&)>& libraryDigest);

} // namespace tool
