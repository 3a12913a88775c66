#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsyncinterfaces_export.h"

#include <QObject>
#include <QString>

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

/**
 * @brief Digest of a file's contents as lower-case hexadecimal text.
 *
 * An implementation keeps hashing state between the steps of one call: one
 * object must not be used by two threads at once.
 */
class KVSYNCINTERFACES_EXPORT ICryptographicHash : public QObject
{
    Q_OBJECT

public:
    /// Creates the interface's QObject part with the given Qt @p parent (none by default).
    explicit ICryptographicHash(QObject* parent = nullptr);
    ~ICryptographicHash() override;

    /// SHA-1 of the file at @p filePath: 40 hex digits, or a null QString when it cannot be opened.
    virtual QString GenerateHash(QString filePath) = 0;
    /// MD5 of the file at @p filePath: 32 hex digits, or a null QString when it cannot be opened.
    virtual QString GenerateHashMD5(QString filePath) = 0;
};

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
