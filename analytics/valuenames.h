#pragma once

#include <analytics/enums.h>
#include <analytics/export.h>

#include <QtCore/QHash>
#include <QtCore/QLatin1String>

/**
 * @file
 * @brief The wire names of five value enumerations, for hosts that report such values.
 *
 * The library itself never reads these tables. Each function returns the same constant table on every
 * call; the table lives as long as the library is loaded, and any thread may read it. Its strings view
 * constants. A value outside the enumeration has a null name.
 */

namespace analytics {

/**
 * @brief Names each setting.
 * @return the wire names by their enumerators
 */
STBANALYTICS_EXPORT QHash<SettingType, QLatin1String> const &settingTypeToName();

/**
 * @brief Names each state of playback.
 * @return the wire names by their enumerators
 */
STBANALYTICS_EXPORT QHash<PlaybackStatus, QLatin1String> const &playbackStatusToName();

/**
 * @brief Names each kind of media.
 * @return the wire names by their enumerators
 */
STBANALYTICS_EXPORT QHash<MediaType, QLatin1String> const &mediaTypeToName();

/**
 * @brief Names each reason why an error ended.
 * @return the wire names by their enumerators
 */
STBANALYTICS_EXPORT QHash<RestoreReasonType, QLatin1String> const &restoreReasonTypeToName();

/**
 * @brief Names each widget.
 * @return the wire names by their enumerators
 */
STBANALYTICS_EXPORT QHash<WidgetName, QLatin1String> const &widgetNameToName();

} // namespace analytics
