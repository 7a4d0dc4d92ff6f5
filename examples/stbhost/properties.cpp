#include <stbhost/properties.h>

#include <analytics/eventnames.h>
#include <analytics/valuenames.h>
#include <stbhost/machine.h>
#include <stbhost/payload.h>
#include <stbhost/recordfields.h>

#include <QtCore/QHash>
#include <QtCore/QTimeZone>

#include <utility>

namespace stbhost {

using namespace analytics;

// What a script may give

template <typename T> static QString as(QJsonValue const &json, QVariant &value)
{
    T typed{};
    QString problem = read(json, typed);
    value = QVariant::fromValue(typed);
    return problem;
}

/// The library knows a list of records by the framework's list of variants only.
template <typename Record> static QString asList(QJsonValue const &json, QVariant &value)
{
    QList<Record> records;
    QString problem = read(json, records);
    QVariantList list;
    for (Record const &record : std::as_const(records))
        list.append(QVariant::fromValue(record));
    value = list;
    return problem;
}

template <auto Names> static QString asWord(QJsonValue const &json, QVariant &value)
{
    QStringList words;
    for (QLatin1String word : Names())
        words.append(word);
    words.sort(Qt::CaseInsensitive);
    if (!words.contains(json.toString()))
        return expected(QStringLiteral("one of ") + words.join(QStringLiteral(", ")), json);
    value = json.toString();
    return {};
}

static QString asNumber(QJsonValue const &json, QVariant &value)
{
    if (!json.isDouble())
        return expected(QStringLiteral("a number"), json);
    value = json.toVariant();
    return {};
}

static QString asAny(QJsonValue const &json, QVariant &value)
{
    if (json.isNull())
        return expected(QStringLiteral("a value"), json);
    value = json.toVariant();
    return {};
}

// What is known without being told

template <typename T> static QVariant toVariant(T const &value)
{
    return QVariant::fromValue(value);
}

template <typename T> static QVariant toVariant(std::optional<T> const &value)
{
    return value ? QVariant::fromValue(*value) : QVariant();
}

template <typename T> static QVariant toVariant(QList<T> const &values)
{
    QVariantList list;
    for (T const &value : values)
        list.append(QVariant::fromValue(value));
    return list;
}

template <auto Reader> static QVariant of(Machine &machine, AnalyticsEventData const &)
{
    return toVariant((machine.*Reader)());
}

static QVariant timeZone(Machine &, AnalyticsEventData const &)
{
    return QString::fromLatin1(QTimeZone::systemTimeZoneId());
}

static QVariant eventId(Machine &, AnalyticsEventData const &data)
{
    // No other key tells those who receive it what it is.
    return QString(eventTypeToName(data.type)) + QLatin1Char('/')
        + data.value.value<Payload>().eventId.toString(QUuid::WithoutBraces);
}

static QVariant eventVersion(Machine &, AnalyticsEventData const &)
{
    return 1;
}

static QVariant eventCounter(Machine &, AnalyticsEventData const &data)
{
    return data.tag;
}

static QVariant timestamp(Machine &, AnalyticsEventData const &data)
{
    return QVariant::fromValue<qint64>(data.time.count());
}

namespace {

struct Row
{
    QString (*read)(QJsonValue const &json, QVariant &value); // cppcheck-suppress unusedStructMember ; a call is a use
    QVariant (*known)(Machine &machine, AnalyticsEventData const &data) = nullptr;
};

} // namespace

using P = Property;

// clang-format off

/// How each property is read from a script, and what tells it when the script does not. Identifiers and the like, which
/// one back end counts and another names, are taken as they come.
static QHash<Property, Row> const rows = {
    {P::ActiveInterface,        {as<QString>,              of<&Machine::activeInterface>}},
    {P::AdDuration,             {as<qint64>}},
    {P::AdPlaceType,            {as<QString>}},
    {P::AdPlaylist,             {asAny}},
    {P::AdServer,               {as<QString>}},
    {P::AppPreparationTime,     {as<qint64>}},
    {P::AppScreen,              {as<QString>}},
    {P::AuthMode,               {as<QString>}},
    {P::B2bType,                {as<QString>}},
    {P::BroadcastType,          {as<QString>}},
    {P::BufferingInfo,          {as<BufferingInfo>}},
    {P::ButtonName,             {as<QString>}},
    {P::Channel,                {as<Channel>}},
    {P::ClockContinuityGap,     {as<qint64>}},
    {P::Components,             {asAny}},
    {P::ContentId,              {asAny}},
    {P::ContentType,            {as<QString>}},
    {P::CpuInfo,                {as<CpuInfo>,              of<&Machine::cpuInfo>}},
    {P::CurLocation,            {as<QString>}},
    {P::CurSubLocation,         {as<QString>}},
    {P::CurrentMrf,             {as<QString>}},
    {P::Dash,                   {as<DashInfo>}},
    {P::Decoder,                {as<DecoderInfo>}},
    {P::DefaultAgeLimit,        {as<qint64>}},
    {P::DemoMode,               {as<bool>}},
    {P::DeviceType,             {as<QString>}},
    {P::DiscoverCase,           {as<QString>}},
    {P::Elements,               {asAny}},
    {P::Endpoints,              {as<Endpoints>}},
    {P::ErrorDetails,           {asAny}},
    {P::ErrorReason,            {as<QString>}},
    {P::Etr290,                 {as<Etr290Info>}},
    {P::EventCounter,           {as<qint64>,               eventCounter}},
    {P::EventId,                {as<QString>,              eventId}},
    {P::EventVersion,           {as<qint64>,               eventVersion}},
    {P::Feedback,               {as<QString>}},
    {P::FirmwareVersion,        {as<QString>,              of<&Machine::firmwareVersion>}},
    {P::HdmiInfo,               {as<HdmiInfo>}},
    {P::HdmiStatus,             {as<bool>,                 of<&Machine::hdmiStatus>}},
    {P::Hls,                    {as<HlsInfo>}},
    {P::HomeMrf,                {as<QString>}},
    {P::HttpError,              {as<HttpError>}},
    {P::HwInfo,                 {as<HardwareInfo>,         of<&Machine::hardwareInfo>}},
    {P::Id,                     {asAny}},
    {P::Interval,               {as<qint64>}},
    {P::IpTos,                  {as<qint64>}},
    {P::IsQuickPurchase,        {as<bool>}},
    {P::IsShouldLinkCard,       {as<bool>}},
    {P::IsTest,                 {as<bool>}},
    {P::ItemId,                 {asAny}},
    {P::ItemPosition,           {as<qint64>}},
    {P::ItemTarget,             {asAny}},
    {P::ItemType,               {as<QString>}},
    {P::Location,               {as<QString>}},
    {P::LoginMode,              {as<QString>}},
    {P::LinkFaults,             {as<qint64>,               of<&Machine::linkFaults>}},
    {P::MacAddress,             {as<QString>,              of<&Machine::macAddress>}},
    {P::Manufacturer,           {as<QString>,              of<&Machine::manufacturer>}},
    {P::McastSource,            {as<QString>}},
    {P::Mdi,                    {as<MdiInfo>}},
    {P::MediaBlock,             {asAny}},
    {P::MediaBlockPosition,     {as<qint64>}},
    {P::MediaBlockShort,        {asAny}},
    {P::MediaInfo,              {as<MediaInfo>}},
    {P::MediaItem,              {as<MediaItem>}},
    {P::MediaKBitrate,          {as<qint64>}},
    {P::MediaProcessingTime,    {as<qint64>}},
    {P::MediaReceivingTime,     {as<qint64>}},
    {P::MediaType,              {asWord<mediaTypeToName>}},
    {P::MemoryInfo,             {as<MemoryInfo>,           of<&Machine::memoryInfo>}},
    {P::MessageDelivery,        {as<QString>}},
    {P::MessageId,              {asAny}},
    {P::MessageTarget,          {as<MessageTarget>}},
    {P::MessageType,            {as<QString>}},
    {P::ModelName,              {as<QString>,              of<&Machine::modelName>}},
    {P::Name,                   {as<QString>}},
    {P::NcError,                {as<NcError>}},
    {P::NetworkInfo,            {as<NetworkInfo>,          of<&Machine::networkInfo>}},
    {P::NetworkInterfaces,      {asList<NetworkInterface>, of<&Machine::networkInterfaces>}},
    {P::Offset,                 {as<qint64>}},
    {P::OldOffset,              {as<qint64>}},
    {P::Path,                   {asAny}},
    {P::PayMethodId,            {asAny}},
    {P::Pin,                    {as<bool>}},
    {P::PlaybackDuration,       {as<qint64>}},
    {P::PlaybackPlaylistUrl,    {as<QString>}},
    {P::PlaybackPosition,       {as<qint64>}},
    {P::PlaybackRealIp,         {as<QString>}},
    {P::PlaybackSegmentUrl,     {as<QString>}},
    {P::PlaybackSession,        {as<QString>}},
    {P::PlaybackState,          {asWord<playbackStatusToName>}},
    {P::PlaybackTrickModeSpeed, {asNumber}},
    {P::PlaybackUrl,            {as<QString>}},
    {P::PlaybackUrlFailed,      {as<QString>}},
    {P::PlaybackUrlNew,         {as<QString>}},
    {P::PlaybackUrlsList,       {as<QStringList>}},
    {P::PlayerMode,             {as<QString>}},
    {P::PollResult,             {asAny}},
    {P::PowerInfo,              {as<PowerInfo>}},
    {P::ProfileId,              {asAny}},
    {P::ProfileType,            {as<QString>}},
    {P::PurchaseVariant,        {as<PurchaseVariant>}},
    {P::PurchaseVariants,       {asList<PurchaseVariant>}},
    {P::Query,                  {as<QString>}},
    {P::Rating,                 {asNumber}},
    {P::RcuIdlePeriod,          {as<qint64>}},
    {P::RestoreReason,          {asWord<restoreReasonTypeToName>}},
    {P::ResultCode,             {asAny}},
    {P::San,                    {as<QString>}},
    {P::Scte35,                 {as<Scte35>}},
    {P::SerialNumber,           {as<QString>,              of<&Machine::serialNumber>}},
    {P::ServiceId,              {asAny}},
    {P::SessionState,           {as<QString>}},
    {P::SubLocation,            {as<QString>}},
    {P::SystemLoadTime,         {as<qint64>}},
    {P::SystemSettings,         {as<SystemSettings>}},
    {P::SystemUptime,           {as<qint64>,               of<&Machine::uptime>}},
    {P::Target,                 {asAny}},
    {P::TicketId,               {asAny}},
    {P::TimeZone,               {as<QString>,              timeZone}},
    {P::Timestamp,              {as<qint64>,               timestamp}},
    {P::Title,                  {as<QString>}},
    {P::TotalItems,             {as<qint64>}},
    {P::TriggerContentType,     {as<QString>}},
    {P::TriggerId,              {asAny}},
    {P::Uid,                    {as<QString>,              of<&Machine::uid>}},
    {P::UsageModel,             {as<QString>}},
    {P::UserInteractionTime,    {as<qint64>}},
    {P::ValidUntil,             {asAny}},
    {P::VerimatrixCasError,     {as<VerimatrixError>}},
    {P::VerimatrixDrmError,     {as<VerimatrixError>}},
    {P::VmxErrors,              {as<VmxErrors>}},
    {P::WidgetName,             {asWord<widgetNameToName>}},
    {P::WifiInfo,               {as<WifiInfo>,             of<&Machine::wifiInfo>}},
    {P::KivoLoadTime,           {as<qint64>}},
    {P::KivoModuleName,         {as<QString>}},
    {P::KivoStatus,             {as<QString>}},
    {P::KivoVersion,            {as<QString>}},
    {P::ZapTime,                {as<qint64>}},
};

// clang-format on

QString readProperty(Property property, QJsonValue const &json, QVariant &value)
{
    auto const reader = rows.value(property).read;
    return reader ? reader(json, value) : QStringLiteral("this host has no row for it in properties.cpp");
}

QVariant knownValue(Property property, Machine &machine, AnalyticsEventData const &data)
{
    auto const known = rows.value(property).known;
    return known ? known(machine, data) : QVariant();
}

} // namespace stbhost
