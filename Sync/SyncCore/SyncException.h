#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <QByteArray>
#include <QString>

#include <exception>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief The library's one exception type, made from a message.
 *
 * Thrown rarely: for unsupported details documents of the action log. Callers
 * that catch `std::exception` catch it too and should log `what()`.
 */
class KVSYNCCORE_EXPORT SyncException : public std::exception
{
public:
    /// Stores @p message and, at once, its UTF-8 encoding.
    explicit SyncException(QString message);
    ~SyncException() override;

    /// Copies the message and its UTF-8 encoding.
    SyncException(const SyncException&) = default;
    /// Copies the message and its UTF-8 encoding; what() of this object then points at
    /// the new copy.
    SyncException& operator=(const SyncException&) = default;

    /// The message as NUL-terminated UTF-8; stable for the object's life, never re-encoded.
    const char* what() const noexcept override;

    /// The message as given.
    QString message() const;

private:
    QString _message;
    QByteArray _utf8Message;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
