#pragma once

#include <QtCore/QList>
#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>
#include <utility>

/**
 * @file
 * @brief The payload records: what a host puts into a QVariant to report more than a plain value.
 *
 * Records are plain values. A field that is a disengaged optional, an empty string or an empty list has nothing
 * to report and is left out of the JSON; a counter that holds 0 is reported. Fields are named
 * after their JSON keys. All numbers travel as JSON doubles: 64-bit counts above 2^53 lose precision.
 * NetworkInfo, Etr290Info, MessageTarget, PurchaseVariant and VerimatrixError always write some member: a
 * host that has nothing to report of these gives no record at all.
 * Unless said otherwise counters run from the start of the current playback.
 */

namespace analytics {

// What is played, and how well

/// A broadcast channel and the programme on it.
struct Channel
{
    std::optional<qint64> channelId; ///< Identifier of the channel.
    std::optional<qint64> programId; ///< Identifier of the programme.
};

/// An item of the content catalogue.
struct MediaItem
{
    std::optional<qint64> mediaItemId; ///< Identifier of the item.
    std::optional<qint64> assetId; ///< Identifier of the asset that is played for the item.
};

/// Properties of the stream that is playing.
struct MediaInfo
{
    QString videoCodec; ///< Video codec.
    QString audioCodec; ///< Audio codec.
    QString videoScanType; ///< Progressive or interlaced, in the host's words.
    std::optional<int> audioChannels; ///< Number of audio channels.
    std::optional<int> videoWidth; ///< Width of the picture, in pixels.
    std::optional<int> videoHeight; ///< Height of the picture, in pixels.
    std::optional<float> videoFrameRate; ///< Frames per second, single precision.
};

/// Decoder counters of the current playback.
struct DecoderInfo
{
    std::optional<qint64> videoFramesDecoded; ///< Video frames decoded.
    std::optional<qint64> videoDecodeErrors; ///< Video frames that could not be decoded.
    std::optional<qint64> videoDataErrors; ///< Errors in the video data.
    std::optional<qint64> audioFramesDecoded; ///< Audio frames decoded.
    std::optional<qint64> audioDecodeErrors; ///< Audio frames that could not be decoded.
    std::optional<qint64> audioDataErrors; ///< Errors in the audio data.
};

/// MPEG-DASH counters (ISO/IEC 23009-1).
struct DashInfo
{
    std::optional<qint64> dashProfileSwitches; ///< Switches between representations.
    std::optional<qint64> dashPlaylistErrors; ///< Manifests (MPD) that could not be used.
    std::optional<qint64> dashSegmentErrors; ///< Media segments that could not be used.
};

/// HTTP Live Streaming counters (RFC 8216).
struct HlsInfo
{
    std::optional<qint64> hlsProfileSwitches; ///< Switches between variant streams.
    std::optional<qint64> hlsMasterPlaylistErrors; ///< Master playlists that could not be used.
    std::optional<qint64> hlsMediaPlaylistErrors; ///< Media playlists that could not be used.
    std::optional<qint64> hlsMediaSegmentErrors; ///< Media segments that could not be used.
    std::optional<qint64> hlsDiscontinuities; ///< Discontinuities (EXT-X-DISCONTINUITY).
};

/// Stalls. The two times are filled by the host independently; neither is derived from the other.
struct BufferingInfo
{
    std::optional<qint64> bufferingEvents; ///< Number of stalls.
    std::optional<qint64> bufferingSeconds; ///< Total stall time, in whole seconds.
    std::optional<qint64> bufferingMs; ///< Total stall time, in milliseconds.
};

/// Transport-stream error counters after ETSI TR 101 290: the first-priority indicators and
/// counters by component.
struct Etr290Info
{
    std::optional<quint64> tsSyncLoss; ///< First-priority indicator 1.1, TS_sync_loss.
    std::optional<quint64> syncByteError; ///< First-priority indicator 1.2, Sync_byte_error.
    std::optional<quint64> patError; ///< First-priority indicator 1.3, PAT_error.
    std::optional<quint64> continuityCountError; ///< First-priority indicator 1.4, Continuity_count_error.
    std::optional<quint64> pmtError; ///< First-priority indicator 1.5, PMT_error.
    std::optional<quint64> pidError; ///< First-priority indicator 1.6, PID_error.
    std::optional<quint64> ccErrorVideo; ///< Continuity-count errors of the video component.
    std::optional<quint64> ccErrorAudio; ///< Continuity-count errors of the audio component.
    std::optional<quint64> pidErrorVideo; ///< PID errors of the video component.
    std::optional<quint64> pidErrorAudio; ///< PID errors of the audio component.
    std::optional<quint64> pidErrorSubtitles; ///< PID errors of the subtitles.
    std::optional<quint64> pidErrorTeletext; ///< PID errors of the teletext.
    std::optional<quint64> pidErrorEcm; ///< PID errors of the entitlement control messages.
};

/// Media delivery index (RFC 4445).
struct MdiInfo
{
    std::optional<quint64> mlr; ///< Media loss rate: media packets lost or out of order, per second.
    std::optional<quint64> df; ///< Delay factor, in milliseconds.
};

/// A splice event seen in the stream (SCTE 35).
struct Scte35
{
    std::optional<qint64> spliceEventId; ///< The event's splice_event_id.
    std::optional<qint64> splicePtsTime; ///< The event's pts_time, in ticks of the 90 kHz clock.
};

/// Target of a user message or banner. All fields but type and title describe the link.
struct MessageTarget
{
    QString type; ///< Kind of target.
    QString title; ///< Title of the target.
    std::optional<qint64> id; ///< Identifier of the linked object.
    std::optional<qint64> categoryId; ///< Identifier of a category.
    std::optional<qint64> collectionId; ///< Identifier of a collection.
    std::optional<qint64> genreId; ///< Identifier of a genre.
    std::optional<qint64> channelId; ///< Identifier of a channel.
    std::optional<qint64> ncChannelId; ///< Identifier of a channel at the back end.
    std::optional<qint64> programId; ///< Identifier of a programme.
    std::optional<qint64> epgId; ///< Identifier of a programme-guide entry.
    std::optional<qint64> originalId; ///< Identifier at the content's source.
    QString screenName; ///< Name of a screen.
    QString contentType; ///< Kind of content.
    QString mediaItemType; ///< Kind of media item.
    QString name; ///< Name of the linked object.
    std::optional<qint64> typeId; ///< Identifier of the linked object's kind.
    std::optional<qint64> tabId; ///< Identifier of a tab.
    std::optional<qint64> themeId; ///< Identifier of a theme.
    QString url; ///< Address of a page.
    QString alias; ///< Short name of the linked object.
};

/// One way of buying or renting a piece of content.
struct PurchaseVariant
{
    std::optional<qint64> serviceId; ///< Identifier of the service.
    std::optional<qint64> contentId; ///< Identifier of the content.
    QString contentType; ///< Kind of content.
    QString currency; ///< Currency of the cost.
    std::optional<qint64> purchaseCost; ///< Cost, in the host's unit of that currency.
    QString usageModel; ///< Right that the viewer purchases, in the host's words; written even when empty.
    QString type; ///< Kind of purchase.
    std::optional<qint64> priceId; ///< Identifier of the price.
    std::optional<qint64> compositeComponentId; ///< Identifier of the component of a bundle.
};

// The box

/// State of the processor.
struct CpuInfo
{
    std::optional<qint16> cpuTemperature; ///< Temperature, in degrees Celsius.
    std::optional<qint16> cpuAverageLoad; ///< Average load, in percent.
    std::optional<qint16> cpuMaxLoad; ///< Highest load, in percent.
    std::optional<qint16> cpuCores; ///< Number of cores.
    std::optional<qint16> sysClockFreqMhz; ///< Clock, in MHz.
};

/// Memory in use, all in one unit, the host's choice.
struct MemoryInfo
{
    std::optional<int> memTotal; ///< Memory of the system, in the host's unit.
    std::optional<int> memAverageUsage; ///< Average use of the system's memory, in the host's unit.
    std::optional<int> memMaxUsage; ///< Highest use of the system's memory, in the host's unit.
    std::optional<int> avmemAverageUsage; ///< Average use of the memory for audio and video, in the host's unit.
    std::optional<int> avmemMaxUsage; ///< Highest use of the memory for audio and video, in the host's unit.
    std::optional<quint32> vmSize; ///< Address space of the process, in the host's unit.
    std::optional<int> vmRss; ///< Resident memory of the process, in the host's unit.
    std::optional<int> vmRssMax; ///< Highest resident memory of the process, in the host's unit.
};

/// One memory device.
struct MemoryModule
{
    QString memType; ///< Kind of memory.
    std::optional<quint32> memSize; ///< Size of the memory device, in the host's unit.
    QString memInfo; ///< Further information on the memory device.
};

/// The box's hardware.
struct HardwareInfo
{
    QString manufacturer; ///< Maker of the box.
    QString modelName; ///< Model of the box.
    QString platform; ///< Chip or platform.
    QString hwRevision; ///< Revision of the hardware.
    QList<MemoryModule> memory; ///< Memory devices.
};

/// The connected television and the output mode.
struct HdmiInfo
{
    QString tvName; ///< Name that the television reports.
    QString tvPreferredOutput; ///< Mode that the television prefers.
    QString stbCurrentOutput; ///< Output mode of the box.
};

/// The Wi-Fi link.
struct WifiInfo
{
    QString wifiSsid; ///< Name of the network.
    QString wifiBssid; ///< Hardware address of the access point.
    std::optional<qint8> wifiRssi; ///< Received signal strength, in dBm.
    std::optional<quint16> wifiFreqMhz; ///< Frequency, in MHz.
    std::optional<quint32> wifiSpeedMbps; ///< Speed of the link, in Mbit/s.
    QString wifiGeneration; ///< Generation of the standard (IEEE 802.11).
};

/// Power state.
struct PowerInfo
{
    QString powerState; ///< Power state, in the host's words.
    std::optional<quint32> powerStatePeriod; ///< Duration of the power state so far, in the host's unit.
    QString powerChangeCause; ///< Cause of the power state, in the host's words.
};

/// The viewer's settings.
struct SystemSettings
{
    QString uiResolution; ///< Resolution of the user interface.
    QString fontSize; ///< Size of the user interface's text.
    QString rcuLayout; ///< Layout of the remote control's keys.
    std::optional<qint16> audioLevel; ///< Volume, in the host's unit.
    QString audioMute; ///< Whether sound is muted.
    QString audioDownmix; ///< Whether sound is mixed down to stereo.
    QList<std::pair<QString, QString>> videoOutputs; ///< Name and mode of each video output.
    QString backgroundRadioPlayback; ///< Whether radio plays on in the background.
    QString backgroundTvPlayback; ///< Whether television plays on in the background.
    QString promoBannerPlayback; ///< Whether banners play trailers.
    QString contentCardPlayback; ///< Whether content cards play trailers.
};

// The network

/// The active link and its counters; these run from the start of the interface.
struct NetworkInfo
{
    QString interfaceName; ///< Name of the interface.
    QString interfaceMode; ///< How the interface gets its address.
    QString mac; ///< Hardware address of the interface.
    std::optional<quint32> speedMbps; ///< Speed, in Mbit/s.
    QString duplex; ///< Half or full duplex, in the host's words.
    std::optional<quint32> bitrateKbps; ///< Present bit rate, in kbit/s.
    std::optional<quint32> rxErrors; ///< Packets received with an error.
    std::optional<quint32> txErrors; ///< Packets that could not be sent.
    std::optional<quint32> rxDropped; ///< Packets dropped on the way in.
    std::optional<quint32> txDropped; ///< Packets dropped on the way out.
    std::optional<quint32> rxCrcErrors; ///< Packets with a wrong checksum.
    std::optional<quint32> rxFrameErrors; ///< Packets with a wrong frame.
};

/// One option that a DHCP server gave (RFC 2132).
struct DhcpOption
{
    std::optional<qint32> code; ///< Number of the option.
    QString value; ///< Value of the option, as text.
};

/// One configured network interface.
struct NetworkInterface
{
    QString interfaceName; ///< Name of the interface.
    QString status; ///< Whether the interface is up, in the host's words.
    QString mac; ///< Hardware address of the interface.
    QString interfaceMode; ///< How the interface gets its address.
    QString ipV4; ///< IPv4 address.
    QString netmask; ///< IPv4 netmask.
    QString gateway; ///< IPv4 gateway.
    QString ipV6; ///< IPv6 address.
    QList<DhcpOption> dhcpOptions; ///< DHCP options.
    QStringList dns; ///< Addresses of name servers.
};

/// The service addresses that the box uses.
struct Endpoints
{
    QString apiUrl; ///< Back-end API.
    QString wsUrl; ///< Web socket.
    QString spyUrl; ///< Collector of events.
    QString imgUrl; ///< Images.
    QString proxyUrl; ///< Proxy.
};

// Errors

/// A failed call to a back-end API.
struct NcError
{
    QString apiUrl; ///< Address of the API.
    QString httpRequestMethod; ///< HTTP method.
    QString httpRequestPath; ///< Path of the request.
    QList<std::pair<QString, QString>> httpRequestQuery; ///< Name and value of each query item.
    QString debugMessage; ///< Error message of the API.
    std::optional<int> httpResponseCode; ///< HTTP status.
    std::optional<qint64> errorCode; ///< The API's own error code.
};

/// A failed HTTP request of a player or a service component.
struct HttpError
{
    QString httpRequestMethod; ///< HTTP method.
    QString httpRequestUri; ///< Address of the request.
    std::optional<qint32> httpResponseCode; ///< HTTP status.
};

/// An error of the Verimatrix conditional-access or DRM client. The command and the error code are
/// always written.
struct VerimatrixError
{
    QString command; ///< The client's command that failed.
    int errorCode = 0; ///< The client's error code.
    std::optional<int> activityCode; ///< Code of the client's activity.
    std::optional<int> moduleCode; ///< Code of the client's module.
    std::optional<qint64> errorCount; ///< Number of times that the error occurred.
};

/// A summary of Verimatrix errors.
struct VmxErrors
{
    std::optional<qint64> totalErrorCount; ///< Number of all errors.
    QList<VerimatrixError> vmxCasErrors; ///< The conditional-access errors.
};

} // namespace analytics

Q_DECLARE_METATYPE(analytics::Channel)
Q_DECLARE_METATYPE(analytics::MediaItem)
Q_DECLARE_METATYPE(analytics::PurchaseVariant)
Q_DECLARE_METATYPE(analytics::NetworkInfo)
Q_DECLARE_METATYPE(analytics::NetworkInterface)
Q_DECLARE_METATYPE(analytics::Endpoints)
Q_DECLARE_METATYPE(analytics::CpuInfo)
Q_DECLARE_METATYPE(analytics::MemoryInfo)
Q_DECLARE_METATYPE(analytics::MemoryModule)
Q_DECLARE_METATYPE(analytics::HardwareInfo)
Q_DECLARE_METATYPE(analytics::HdmiInfo)
Q_DECLARE_METATYPE(analytics::WifiInfo)
Q_DECLARE_METATYPE(analytics::MdiInfo)
Q_DECLARE_METATYPE(analytics::DecoderInfo)
Q_DECLARE_METATYPE(analytics::DashInfo)
Q_DECLARE_METATYPE(analytics::HlsInfo)
Q_DECLARE_METATYPE(analytics::BufferingInfo)
Q_DECLARE_METATYPE(analytics::NcError)
Q_DECLARE_METATYPE(analytics::SystemSettings)
Q_DECLARE_METATYPE(analytics::Scte35)
Q_DECLARE_METATYPE(analytics::VerimatrixError)
Q_DECLARE_METATYPE(analytics::VmxErrors)
Q_DECLARE_METATYPE(analytics::MessageTarget)
Q_DECLARE_METATYPE(analytics::HttpError)
Q_DECLARE_METATYPE(analytics::MediaInfo)
Q_DECLARE_METATYPE(analytics::Etr290Info)
Q_DECLARE_METATYPE(analytics::PowerInfo)
