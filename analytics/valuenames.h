#pragma once

#include <analytics/enums.h>
#include <analytics/export.h>

#include <QtCore/QHash>
#include <QtCore/QLatin1String>

/**
 * @file
 * @brief The wire names of those value enumerations that have them, for hosts that report such values.
 *
 * The library itself never reads these tables. Each function returns the same constant table on every
 * call; the table lives until the process ends, and any thread may read it. Its strings view
 * constants. A value outside the enumeration has a null name.
 */

namespace analytics {

/// Returns the wire name of each setting.
STBANALYTICS_EXPORT QHash<SettingType, QLatin1String> const &settingTypeToName();

/// Returns the wire name of each state of playback.
STBANALYTICS_EXPORT QHash<PlaybackStatus, QLatin1String> const &playbackStatusToName();

/// Returns the wire name of each kind of media.
STBANALYTICS_EXPORT QHash<MediaType, QLatin1String> const &mediaTypeToName();

/// Returns the wire name of each reason for which an error ended.
STBANALYTICS_EXPORT QHash<RestoreReasonType, QLatin1String> const &restoreReasonTypeToName();

/// Returns the wire name of each widget.
STBANALYTICS_EXPORT QHash<WidgetName, QLatin1String> const &widgetNameToName();

} // namespace analytics
