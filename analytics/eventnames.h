#pragma once

#include <analytics/enums.h>

#include <QtCore/QLatin1String>

#include <string_view>

/**
 * @file
 * @brief The wire names of the types of events, for what a host puts into Property::EventId.
 *
 * No other key of an event carries its type. So a host begins the id of an event with the wire name of its type,
 * followed by a slash and by what makes the id unique on the box: `playback_start/7f3a-12`. Everything here is inline,
 * and may be called from any thread.
 */

namespace analytics {

/**
 * @brief Gives the wire name of a type of event, such as `playback_start`.
 *
 * @param type any value
 * @return the name; a null string for EventType::Invalid, and for a value that is no type of event
 */
constexpr QLatin1String eventTypeToName(EventType type) noexcept
{
    // clang-format off
    switch (type) {
    case EventType::Invalid: break;
    case EventType::Discover:                  return QLatin1String("discover");
    case EventType::MessageClicked:            return QLatin1String("message_clicked");
    case EventType::MessageShown:              return QLatin1String("message_shown");
    case EventType::PlaybackAd:                return QLatin1String("playback_ad");
    case EventType::PlaybackAdStop:            return QLatin1String("playback_ad_stop");
    case EventType::PlaybackError:             return QLatin1String("playback_error");
    case EventType::PlaybackFallback:          return QLatin1String("playback_fallback");
    case EventType::PlaybackNewProgram:        return QLatin1String("playback_new_program");
    case EventType::PlaybackPause:             return QLatin1String("playback_pause");
    case EventType::PlaybackPauseResume:       return QLatin1String("playback_pause_resume");
    case EventType::PlaybackRestore:           return QLatin1String("playback_restore");
    case EventType::PlaybackSetPosition:       return QLatin1String("playback_set_position");
    case EventType::PlaybackStart:             return QLatin1String("playback_start");
    case EventType::PlaybackStatus:            return QLatin1String("playback_status");
    case EventType::PlaybackStop:              return QLatin1String("playback_stop");
    case EventType::PlaybackTrickMode:         return QLatin1String("playback_trickmode");
    case EventType::PlaybackTrickModeResume:   return QLatin1String("playback_trickmode_resume");
    case EventType::PlaybackZap:               return QLatin1String("playback_zap");
    case EventType::ProfileChange:             return QLatin1String("profile_change");
    case EventType::PurchaseOptions:           return QLatin1String("purchase_options");
    case EventType::PurchaseRequest:           return QLatin1String("purchase_request");
    case EventType::PurchaseResult:            return QLatin1String("purchase_result");
    case EventType::PurchaseServiceComponents: return QLatin1String("purchase_service_components");
    case EventType::PurchaseUnsubscribe:       return QLatin1String("purchase_unsubscribe");
    case EventType::SearchResult:              return QLatin1String("search_result");
    case EventType::SqmMetrics:                return QLatin1String("sqm_metrics");
    case EventType::SystemBoot:                return QLatin1String("system_boot");
    case EventType::SystemStatus:              return QLatin1String("system_status");
    case EventType::UiButtonClick:             return QLatin1String("ui_button_click");
    case EventType::UiContentRating:           return QLatin1String("ui_content_rating");
    case EventType::UiFeedback:                return QLatin1String("ui_feedback");
    case EventType::UiItemClick:               return QLatin1String("ui_item_click");
    case EventType::UiMediaBlockChange:        return QLatin1String("ui_media_block_change");
    case EventType::UiMediaBlockFocus:         return QLatin1String("ui_media_block_focus");
    case EventType::UiMenuClick:               return QLatin1String("ui_menu_click");
    case EventType::UiTargetView:              return QLatin1String("ui_target_view");
    case EventType::UiWidgetClicked:           return QLatin1String("ui_widget_clicked");
    case EventType::UiWidgetShown:             return QLatin1String("ui_widget_shown");
    case EventType::KivoAuth:                  return QLatin1String("kivo_auth");
    case EventType::KivoError:                 return QLatin1String("kivo_error");
    case EventType::KivoRestore:               return QLatin1String("kivo_restore");
    case EventType::KivoStatus:                return QLatin1String("kivo_status");
    }
    // clang-format on
    return {};
}

/**
 * @brief Gives the type of event that has a wire name.
 *
 * @param name the name as it is on the wire, in ASCII
 * @return the type; EventType::Invalid if no type has the name
 */
constexpr EventType eventTypeFromName(std::string_view name) noexcept
{
    for (int value = 1;; ++value) {
        QLatin1String const known = eventTypeToName(static_cast<EventType>(value));
        if (known.data() == nullptr)
            return EventType::Invalid;
        if (std::string_view(known.data(), static_cast<std::size_t>(known.size())) == name)
            return static_cast<EventType>(value);
    }
}

} // namespace analytics
