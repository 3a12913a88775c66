#pragma once

// The tool's display side of the action log: names of action types, English
// templates for the details documents, and opening the log of a database file.
// Shared by the log, sync and history commands.

#include "Sync/SyncCore/ActionLog.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <memory>

namespace tool {

/// The name of an action type ("FileUploaded"), or its number when it has none.
QString actionTypeName(int type);

/// A number or an action type name (any case); false when it is neither.
bool parseActionType(const QString& text, int* type);

/// The English display texts of the details documents, by details type.
const QMap<sync::core::actionDetails::DetailsType, QString>& englishTemplates();

/// The details document of an action as English text; a note when it cannot be shown.
QString detailsText(sync::core::ActionLog& log, const QString& details);

/// The action's time as local "yyyy-MM-dd HH:mm:ss".
QString localTime(const sync::core::SyncAction& action);

/**
 * The action log of the database named by "--db FILE" (taken out of @p args),
 * or of the tool's default database. With @p mustExist, a missing file is an
 * error rather than a new database. Null after printing the error; then
 * @p exitCode holds the code to return.
 */
std::unique_ptr<sync::core::ActionLog> openLog(QStringList& args, bool mustExist, int* exitCode);

} // namespace tool
