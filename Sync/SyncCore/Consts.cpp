#include "Sync/SyncCore/Consts.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace core {
namespace consts {

const QString TEMP_FOLDER_NAME = QStringLiteral(".{SyncTemp}");
const QString BASE_FOLDER_NAME = QStringLiteral(".{SyncBackup}");
const QString BASE_FILE_EXTN = QStringLiteral("BASE");
const QString TEMP_FILE_EXTN = QStringLiteral("TMP");
const QString DELTA_FILE_EXTN = QStringLiteral("DELTA");

} // namespace consts
} // namespace core
} // namespace sync
} // namespace KvSync_6_0
