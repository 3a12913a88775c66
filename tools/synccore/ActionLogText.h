#pragma once

// The tool's display side of the action log: names of action types, English
// templates for the details documents. Shared by the log, sync and history
// commands.

#include "Sync/SyncCore/ActionLog.h"

#include <QJsonObject>
#include <QMap>
#include <QString>
#include <QStringList>

namespace tool {

/// The name of an action type ("FileUploaded"), or its number when it has none.
QString actionTypeName(int type);

/// A number or an action type name (any case); false when it is neither.
bool parseActionType(const QString& text, int* type);

/// The English display texts of the details documents, by details type.
const QMap<sync::core::actionDetails::DetailsType, QString>& englishTemplates();

/// The details document of an action as English text; a note when it cannot be shown.
QString detailsText(sync::core::ActionLog& log, const QString& details);

/// One action as a JSON object: id, time (ISO 8601 with offset), type, typeName, item,
/// name, details (as text) and, with @p withDocument, the stored details document.
QJsonObject actionJson(
    sync::core::ActionLog& log, const sync::core::SyncAction& action, bool withDocument);

/// A row id given on the command line; -1 when it is not a positive number.
int actionId(const QString& text);

/// The action's time as local "yyyy-MM-dd HH:mm:ss".
QString localTime(const sync::core::SyncAction& action);

} // namespace tool
