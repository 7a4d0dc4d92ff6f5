#include <analytics/valuenames.h>

namespace analytics {

namespace {

// clang-format off

QHash<SettingType, QLatin1String> const settingTypeNames = {
    {SettingType::Unknown,      QLatin1String("unknown")},
    {SettingType::UiResolution, QLatin1String("ui_resolution")},
    {SettingType::FontSize,     QLatin1String("font_size")},
    {SettingType::AudioLevel,   QLatin1String("audio_level")},
    {SettingType::Mute,         QLatin1String("mute")},
    {SettingType::Downmix,      QLatin1String("downmix")},
    {SettingType::RcuLayout,    QLatin1String("rcu_layout")},
    {SettingType::Led,          QLatin1String("led")},
};

QHash<PlaybackStatus, QLatin1String> const playbackStatusNames = {
    {PlaybackStatus::Play,        QLatin1String("play")},
    {PlaybackStatus::Pause,       QLatin1String("pause")},
    {PlaybackStatus::Rewind,      QLatin1String("rw")},
    {PlaybackStatus::FastForward, QLatin1String("ff")},
    {PlaybackStatus::Stop,        QLatin1String("stop")},
    {PlaybackStatus::Error,       QLatin1String("error")},
};

QHash<MediaType, QLatin1String> const mediaTypeNames = {
    {MediaType::Unknown,      QLatin1String("unknown")},
    {MediaType::Live,         QLatin1String("live")},
    {MediaType::PauseLive,    QLatin1String("pause_live")},
    {MediaType::Archive,      QLatin1String("archive")},
    {MediaType::SavedEpg,     QLatin1String("saved_epg")},
    {MediaType::Vod,          QLatin1String("vod")},
    {MediaType::SavedVod,     QLatin1String("saved_vod")},
    {MediaType::File,         QLatin1String("file")},
    {MediaType::Ad,           QLatin1String("ad")},
    {MediaType::Promo,        QLatin1String("promo")},
    {MediaType::SplashScreen, QLatin1String("splash_screen")},
    {MediaType::Screensaver,  QLatin1String("screensaver")},
};

QHash<RestoreReasonType, QLatin1String> const restoreReasonTypeNames = {
    {RestoreReasonType::Unknown, QLatin1String("unknown")},
    {RestoreReasonType::Auto,    QLatin1String("auto")},
    {RestoreReasonType::User,    QLatin1String("user")},
};

QHash<WidgetName, QLatin1String> const widgetNames = {
    {WidgetName::Unknown, QLatin1String("unknown")},
    {WidgetName::Vex,     QLatin1String("VEX")},
    {WidgetName::Lu,      QLatin1String("LU")},
    {WidgetName::Dap,     QLatin1String("DAP")},
};

// clang-format on

} // namespace

QHash<SettingType, QLatin1String> const &settingTypeToName()
{
    return settingTypeNames;
}

QHash<PlaybackStatus, QLatin1String> const &playbackStatusToName()
{
    return playbackStatusNames;
}

QHash<MediaType, QLatin1String> const &mediaTypeToName()
{
    return mediaTypeNames;
}

QHash<RestoreReasonType, QLatin1String> const &restoreReasonTypeToName()
{
    return restoreReasonTypeNames;
}

QHash<WidgetName, QLatin1String> const &widgetNameToName()
{
    return widgetNames;
}

} // namespace analytics
