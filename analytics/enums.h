#pragma once

#include <analytics/export.h>

#include <QtCore/qobjectdefs.h>

/**
 * @brief Usage and quality-of-service events of a set-top box, as compact JSON.
 *
 * All names of the library live here. The namespace is also a meta-object: every enumeration below
 * can be turned into its enumerator's name and back with `QMetaEnum::fromType<>()`.
 *
 * The numeric values are part of the library's interface. Enumerators are dense from 0, are only ever
 * appended, and keep their order, even where it is not alphabetical.
 */
namespace analytics {
Q_NAMESPACE_EXPORT(STBANALYTICS_EXPORT)

/// How urgently an event is to be delivered.
enum class EventPriority {
    Low, ///< Kept until the next flush.
    Medium, ///< Flushes everything that is pending, itself last, as one package.
    High, ///< Sent at once in a package of its own; what is pending stays pending.
};
Q_ENUM_NS(EventPriority)

/// What happened.
enum class EventType {
    Invalid, ///< No event; nothing can be produced for it.
    Discover, ///< The box has discovered the service endpoints that it is to use.
    MessageClicked, ///< The viewer has acted on a message or banner.
    MessageShown, ///< A message or banner has appeared.
    PlaybackAd, ///< An advertisement has started.
    PlaybackAdStop, ///< An advertisement has ended.
    PlaybackError, ///< Playback has failed.
    PlaybackFallback, ///< The player has moved from a failing address to another one.
    PlaybackNewProgram, ///< The next programme has begun on the channel that is playing.
    PlaybackPause, ///< Playback has been paused.
    PlaybackPauseResume, ///< Playback continues after a pause.
    PlaybackRestore, ///< Playback works again after an error.
    PlaybackSetPosition, ///< The viewer has jumped to another position.
    PlaybackStart, ///< Playback has started.
    PlaybackStatus, ///< Periodic report of what is playing.
    PlaybackStop, ///< Playback has been stopped.
    PlaybackTrickMode, ///< Trick mode (winding at some speed) has started.
    PlaybackTrickModeResume, ///< Normal playback continues after trick mode.
    PlaybackZap, ///< The viewer has changed the channel; carries the phases of the zap time.
    ProfileChange, ///< Another user profile has been chosen.
    PurchaseOptions, ///< Ways to buy or rent a piece of content have been offered.
    PurchaseRequest, ///< The viewer has asked for one of the offered ways to buy or rent.
    PurchaseResult, ///< The outcome of a purchase.
    PurchaseServiceComponents, ///< The components of a service have been chosen.
    PurchaseUnsubscribe, ///< The viewer has ended a subscription.
    SearchResult, ///< A search has been answered.
    SqmMetrics, ///< Periodic sample of service-quality metrics.
    SystemBoot, ///< The box has booted.
    SystemStatus, ///< Periodic report of the box's state.
    UiButtonClick, ///< A button has been pressed.
    UiContentRating, ///< The viewer has rated a piece of content.
    UiFeedback, ///< The viewer has commented on a piece of content.
    UiItemClick, ///< An item of a media block has been chosen.
    UiMediaBlockChange, ///< The contents of a media block have changed.
    UiMediaBlockFocus, ///< The focus has moved to a media block.
    UiMenuClick, ///< A menu item has been chosen.
    UiTargetView, ///< A screen has been opened.
    UiWidgetClicked, ///< A widget has been chosen.
    UiWidgetShown, ///< A widget has appeared.
    KivoAuth, ///< The application has signed in.
    KivoError, ///< The application has met an error.
    KivoRestore, ///< The application works again after an error.
    KivoStatus, ///< Report of the application's state.
};
Q_ENUM_NS(EventType)

/**
 * @brief One field of an event's JSON object.
 *
 * The value of each comes from the host's IPropertyProvider. Receivers expect the type and the unit that are
 * given here. Times and durations are in milliseconds unless a property says otherwise.
 */
enum class Property {
    ActiveInterface, ///< Name of the network interface in use.
    AdDuration, ///< Length of the advertisement, in milliseconds.
    AdPlaceType, ///< Kind of slot that the advertisement fills, in the host's words.
    AdPlaylist, ///< The playlist that the advertisement belongs to.
    AdServer, ///< The server that the advertisement comes from.
    AppPreparationTime, ///< Zap phase: the application's own preparation, in milliseconds.
    AppScreen, ///< The screen on which the event happened.
    AuthMode, ///< How the box is authenticated.
    B2bType, ///< Kind of business customer, in the host's words.
    BroadcastType, ///< How the service reaches the box.
    BufferingInfo, ///< Stalls so far, a BufferingInfo record.
    ButtonName, ///< The button that was pressed.
    Channel, ///< Channel and programme, a Channel record.
    ClockContinuityGap, ///< Gap in the programme clock reference (ISO/IEC 13818-1), in the host's unit.
    Components, ///< Components of a service.
    ContentId, ///< Identifier of a piece of content.
    ContentType, ///< Kind of the piece of content, in the host's words.
    CpuInfo, ///< Processor state, a CpuInfo record.
    CurLocation, ///< Present location of the box.
    CurSubLocation, ///< Present sub-location of the box.
    CurrentMrf, ///< Regional branch that serves the box now.
    Dash, ///< MPEG-DASH counters (ISO/IEC 23009-1), a DashInfo record.
    Decoder, ///< Decoder counters, a DecoderInfo record.
    DefaultAgeLimit, ///< Age limit of the profile, in years.
    DemoMode, ///< Whether the box runs in a shop's demonstration mode.
    DeviceType, ///< Kind of device, in the host's words.
    DiscoverCase, ///< Why the endpoints were discovered; see DiscoverReason.
    Elements, ///< What the opened screen shows.
    Endpoints, ///< Service addresses, an Endpoints record.
    ErrorDetails, ///< Further details of an error.
    ErrorReason, ///< The reason of an error.
    Etr290, ///< Transport-stream counters after ETSI TR 101 290, an Etr290Info record.
    EventCounter, ///< Sequence number of the event; every event carries it.
    EventId, ///< Identifier of the event; every event carries it.
    EventVersion, ///< Version of the event's form; every event carries it.
    Feedback, ///< The viewer's comment.
    FirmwareVersion, ///< Version of the box's firmware.
    HdmiInfo, ///< The connected television, an HdmiInfo record.
    HdmiStatus, ///< Whether a television is connected.
    Hls, ///< HLS counters (RFC 8216), an HlsInfo record.
    HomeMrf, ///< Regional branch with which the box is registered.
    HttpError, ///< A failed HTTP request, an HttpError record.
    HwInfo, ///< The box's hardware, a HardwareInfo record.
    Id, ///< Identifier of the chosen menu item.
    Interval, ///< Length of the sampling interval, in milliseconds.
    IpTos, ///< Type-of-service byte of the stream's IP packets (RFC 791, RFC 2474).
    IsQuickPurchase, ///< Whether a purchase was made in one step; no event carries it.
    IsShouldLinkCard, ///< Whether a payment card is still to be linked.
    IsTest, ///< Whether the box is one of the operator's test devices.
    ItemId, ///< Identifier of the chosen item.
    ItemPosition, ///< Place of the chosen item within the media block, from 0.
    ItemTarget, ///< Screen or content that the chosen item opens.
    ItemType, ///< Kind of the chosen item, in the host's words.
    Location, ///< Location in which the box is registered.
    LoginMode, ///< How the viewer signed in.
    LinkFaults, ///< Number of losses of the network link.
    MacAddress, ///< Hardware address of the box; every event carries it.
    Manufacturer, ///< Maker of the box.
    McastSource, ///< Source address of the multicast stream.
    Mdi, ///< Media delivery index (RFC 4445), an MdiInfo record.
    MediaBlock, ///< The media block with its contents.
    MediaBlockPosition, ///< Place of the media block on the screen, from 0.
    MediaBlockShort, ///< The media block without its contents.
    MediaInfo, ///< Stream properties, a MediaInfo record.
    MediaItem, ///< Item of the content catalogue, a MediaItem record.
    MediaKBitrate, ///< Bit rate of the stream, in kbit/s.
    MediaProcessingTime, ///< Zap phase: from the first data to the first picture, in milliseconds.
    MediaReceivingTime, ///< Zap phase: from the request to the first data, in milliseconds.
    MediaType, ///< Kind of media; see mediaTypeToName().
    MemoryInfo, ///< Memory in use, a MemoryInfo record.
    MessageDelivery, ///< How the message reached the box.
    MessageId, ///< Identifier of the message.
    MessageTarget, ///< Screen or content that the message opens, a MessageTarget record.
    MessageType, ///< Kind of the message, in the host's words.
    ModelName, ///< Model of the box.
    Name, ///< Name of the opened screen.
    NcError, ///< A failed call to a back-end API, an NcError record.
    NetworkInfo, ///< The active link and its counters, a NetworkInfo record.
    NetworkInterfaces, ///< All interfaces, a list of NetworkInterface records.
    Offset, ///< Position within the content, in milliseconds.
    OldOffset, ///< Position within the content before a jump, in milliseconds.
    Path, ///< The way through the user interface that led to the event.
    PayMethodId, ///< Identifier of the means of payment.
    Pin, ///< Whether the profile asks for a PIN.
    PlaybackDuration, ///< Duration of playback so far, in milliseconds.
    PlaybackPlaylistUrl, ///< Address of the playlist or manifest.
    PlaybackPosition, ///< Position of playback, in milliseconds.
    PlaybackRealIp, ///< IP address of the server that delivers the stream.
    PlaybackSegmentUrl, ///< Address of the media segment.
    PlaybackSession, ///< Identifier of the playback session.
    PlaybackState, ///< State of playback; see playbackStatusToName().
    PlaybackTrickModeSpeed, ///< Trick-mode speed as a multiple of normal, negative backwards.
    PlaybackUrl, ///< Address of the stream that is playing.
    PlaybackUrlFailed, ///< Address of the stream that failed.
    PlaybackUrlNew, ///< Address of the stream that replaces the failed one.
    PlaybackUrlsList, ///< Addresses of all streams of the content, a list of strings.
    PlayerMode, ///< Mode of the player, in the host's words.
    PollResult, ///< The viewer's answer to a poll.
    PowerInfo, ///< Power state, a PowerInfo record.
    ProfileId, ///< Identifier of the user profile.
    ProfileType, ///< Kind of the profile, in the host's words.
    PurchaseVariant, ///< One way to buy, a PurchaseVariant record.
    PurchaseVariants, ///< All ways to buy, a list of PurchaseVariant records.
    Query, ///< Text of the search.
    Rating, ///< The viewer's rating.
    RcuIdlePeriod, ///< Time since the last key press on the remote control, in milliseconds.
    RestoreReason, ///< What ended an error; see restoreReasonTypeToName().
    ResultCode, ///< Outcome of a purchase, or of the end of a subscription.
    San, ///< The service account number of the household.
    Scte35, ///< Splice event (SCTE 35), a Scte35 record.
    SerialNumber, ///< Serial number of the box.
    ServiceId, ///< Identifier of a service.
    SessionState, ///< State of the application's session.
    SubLocation, ///< Sub-location in which the box is registered.
    SystemLoadTime, ///< Duration of the system's boot, in milliseconds.
    SystemSettings, ///< The viewer's settings, a SystemSettings record.
    SystemUptime, ///< Time since the system booted, in milliseconds.
    Target, ///< Screen that a menu item opens, or the opened screen.
    TicketId, ///< Identifier of a purchase.
    TimeZone, ///< The box's time zone.
    Timestamp, ///< Time of the event, in milliseconds since the host's epoch; every event carries it.
    Title, ///< Title of the chosen menu item.
    TotalItems, ///< Number of items that a search has found.
    TriggerContentType, ///< Kind of the content that led to an offer.
    TriggerId, ///< Identifier of the content that led to an offer.
    Uid, ///< Identifier of the device or user; every event carries it.
    UsageModel, ///< Right by which the viewer watches the content, in the host's words.
    UserInteractionTime, ///< Zap phase: from the first key to the request, in milliseconds.
    ValidUntil, ///< End of a subscription, in the host's form.
    VerimatrixCasError, ///< Conditional-access error, a VerimatrixError record.
    VerimatrixDrmError, ///< DRM error, a VerimatrixError record.
    VmxErrors, ///< Summary of Verimatrix errors, a VmxErrors record.
    WidgetName, ///< The widget; see widgetNameToName().
    WifiInfo, ///< The Wi-Fi link, a WifiInfo record.
    KivoLoadTime, ///< Duration of the application's start, in milliseconds.
    KivoModuleName, ///< Name of the application's module in which an error occurred.
    KivoStatus, ///< Why the application's state is reported; see KivoStatusSendReason.
    KivoVersion, ///< Version of the application.
    ZapTime, ///< The whole zap, from the first key to the first picture, in milliseconds.
};
Q_ENUM_NS(Property)

/// State of playback; wire names: playbackStatusToName().
enum class PlaybackStatus {
    Play, ///< Playing at normal speed.
    Pause, ///< Paused.
    Rewind, ///< Trick mode, backwards.
    FastForward, ///< Trick mode, forwards.
    Stop, ///< Stopped.
    Error, ///< Failed.
};
Q_ENUM_NS(PlaybackStatus)

/// Kind of media; wire names: mediaTypeToName().
enum class MediaType {
    Unknown, ///< Not known.
    Live, ///< A channel as it is broadcast.
    PauseLive, ///< A channel behind its broadcast.
    Archive, ///< A past programme from the operator's archive.
    SavedEpg, ///< A recorded programme.
    Vod, ///< Video on demand.
    SavedVod, ///< Saved video on demand.
    File, ///< A file of the viewer's own.
    Ad, ///< An advertisement.
    Promo, ///< A trailer.
    SplashScreen, ///< The picture shown while starting.
    Screensaver, ///< The screen saver.
};
Q_ENUM_NS(MediaType)

/// Why the box discovered its endpoints.
enum class DiscoverReason {
    AppStart, ///< The application has started.
    Rebalance, ///< The back end has asked for it.
};
Q_ENUM_NS(DiscoverReason)

/// Kind of player.
enum class PlayerType {
    Unknown, ///< Not known.
    Tv, ///< Player of channels.
    Vod, ///< Player of video on demand.
    Standard, ///< General player.
    Radio, ///< Player of radio channels.
};
Q_ENUM_NS(PlayerType)

/// Why the application reports its state.
enum class KivoStatusSendReason {
    Unknown, ///< Not known.
    InitialAppStart, ///< The application has started for the first time on this box.
    AppStart, ///< The application has started.
    AppRestart, ///< The application has restarted.
    StandbyEntry, ///< About to enter standby.
    StandbyExit, ///< Back from standby.
    SuspendEntry, ///< About to be suspended.
    SuspendExit, ///< Back from suspension.
    NewLocation, ///< The box is in another location.
};
Q_ENUM_NS(KivoStatusSendReason)

/// A setting of the viewer's; wire names: settingTypeToName().
enum class SettingType {
    Unknown, ///< Not known.
    UiResolution, ///< Resolution of the user interface.
    FontSize, ///< Size of the user interface's text.
    AudioLevel, ///< Volume.
    Mute, ///< Whether sound is muted.
    RcuLayout, ///< Layout of the remote control's keys.
    Led, ///< Brightness of the box's lamp.
    Downmix, ///< Whether sound is mixed down to stereo.
};
Q_ENUM_NS(SettingType)

/// What ended an error; wire names: restoreReasonTypeToName().
enum class RestoreReasonType {
    Unknown, ///< Not known.
    Auto, ///< The error ended by itself.
    User, ///< The viewer did something.
};
Q_ENUM_NS(RestoreReasonType)

/// Kind of advertisement.
enum class AdType {
    Unknown, ///< Not known.
    Alive, ///< Inserted into a live channel.
    Avod, ///< Part of video on demand that is paid for by advertising.
    Scte35, ///< Announced by a splice event in the stream (SCTE 35).
};
Q_ENUM_NS(AdType)

/// A screen widget; wire names: widgetNameToName().
enum class WidgetName {
    Unknown, ///< Not known.
    Vex, ///< The VEX widget.
    Lu, ///< The LU widget.
    Dap, ///< The DAP widget.
};
Q_ENUM_NS(WidgetName)

} // namespace analytics
