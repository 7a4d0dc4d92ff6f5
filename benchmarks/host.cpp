#include "host.h"

#include <analytics/catalogue_p.h>
#include <analytics/records.h>

#include <QtCore/QLoggingCategory>
#include <QtCore/QMetaEnum>

using namespace analytics;

namespace {

Channel channel()
{
    return {501, 88120345};
}

MediaItem mediaItem()
{
    return {730211, 991823};
}

MediaInfo mediaInfo()
{
    return {QStringLiteral("h264"), QStringLiteral("aac"), QStringLiteral("progressive"), 2, 1920, 1080, 25.0f};
}

Etr290Info etr290()
{
    return {0, 3, 0, 17, 0, 1, 11, 6, 0, 1, 0, 0, 0};
}

NetworkInfo network()
{
    return {QStringLiteral("eth0"),
            QStringLiteral("dhcp"),
            QStringLiteral("02:00:5e:10:00:01"),
            1000,
            QStringLiteral("full"),
            8400,
            0,
            0,
            12,
            0,
            0,
            0};
}

VerimatrixError verimatrixError()
{
    return {QStringLiteral("getKey"), 1203, 4, 7, 2};
}

} // namespace

FullProvider::FullProvider()
{
    for (int i = 0; i < QMetaEnum::fromType<Property>().keyCount(); ++i)
        m_values.push_back(QString::fromLatin1("value of %1").arg(i));

    auto const set = [this](Property property, auto const &value) {
        m_values[std::size_t(property)] = QVariant::fromValue(value);
    };
    set(Property::EventId, QString::fromLatin1("6d7f5c04-5d4e-4a52-9f2e-0f4a3b1f7a11")); // As one made for each event.
    set(Property::EventVersion, 1);
    set(Property::EventCounter, 1742);
    set(Property::Timestamp, Q_INT64_C(1795212000123));
    set(Property::MacAddress, QStringLiteral("02:00:5e:10:00:01"));

    set(Property::Channel, channel());
    set(Property::MediaItem, mediaItem());
    set(Property::MediaInfo, mediaInfo());
    set(Property::Decoder, DecoderInfo{90210, 3, 1, 168400, 0, 0});
    set(Property::Dash, DashInfo{4, 0, 1});
    set(Property::Hls, HlsInfo{2, 0, 1, 3, 5});
    set(Property::BufferingInfo, BufferingInfo{2, 3, 3120});
    set(Property::Etr290, etr290());
    set(Property::Mdi, MdiInfo{0, 42});
    set(Property::CpuInfo, CpuInfo{61, 34, 92, 4, 1500});
    set(Property::MemoryInfo, MemoryInfo{2048000, 1310720, 1703936, 262144, 327680, 912384, 301204, 322560});
    set(Property::WifiInfo,
        WifiInfo{QStringLiteral("home"), QStringLiteral("02:00:5e:10:00:99"), qint8(-61), quint16(5180), 433,
                 QStringLiteral("wifi5")});
    set(Property::PowerInfo, PowerInfo{QStringLiteral("on"), 86400, QStringLiteral("rcu")});
    set(Property::NetworkInfo, network());
    set(Property::VmxErrors, VmxErrors{3, {verimatrixError(), verimatrixError()}});

    set(Property::PlaybackUrl, QStringLiteral("https://cdn.example.net/live/501/index.m3u8?profile=hd"));
    set(Property::PlaybackSession, QStringLiteral("0f1c7e52-22aa-4f0c-bb6a-6a5ac0bd1f30"));
    set(Property::PlaybackUrlsList,
        QStringList{QStringLiteral("https://cdn1.example.net/501"), QStringLiteral("https://cdn2.example.net/501")});
    set(Property::MediaType, QStringLiteral("live"));
    set(Property::PlaybackState, QStringLiteral("play"));
    set(Property::DemoMode, false);
    set(Property::IsTest, false);
    set(Property::Offset, Q_INT64_C(184000));
    set(Property::SystemUptime, Q_INT64_C(912345678));
    set(Property::RcuIdlePeriod, Q_INT64_C(95000));
    set(Property::Interval, 60000);
    set(Property::IpTos, 136);
    set(Property::MediaKBitrate, 8421.5);
    set(Property::ClockContinuityGap, 0);
    set(Property::LinkFaults, 0);
    set(Property::KivoLoadTime, 4210);
}

QVariant FullProvider::value(Property property, AnalyticsEventData const &) const
{
    return m_values[std::size_t(property)];
}

QList<Property> genericProperties()
{
    return {Property::EventId,   Property::EventVersion, Property::EventCounter,
            Property::Timestamp, Property::MacAddress,   Property::Uid};
}

QList<Property> propertiesOf(EventType type)
{
    return eventTable.value(type).properties;
}

AnalyticsEventData eventOf(EventType type)
{
    AnalyticsEventData data;
    data.type = type;
    return data;
}

void silenceLog()
{
    qInstallMessageHandler([](QtMsgType, QMessageLogContext const &, QString const &) {});
    QLoggingCategory::setFilterRules(QStringLiteral("stbanalytics.debug=true"));
}
