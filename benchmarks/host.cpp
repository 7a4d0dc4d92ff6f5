#include "host.h"

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

NetworkInterface networkInterface()
{
    return {QStringLiteral("eth0"),
            QStringLiteral("up"),
            QStringLiteral("02:00:5e:10:00:01"),
            QStringLiteral("dhcp"),
            QStringLiteral("192.0.2.17"),
            QStringLiteral("255.255.255.0"),
            QStringLiteral("192.0.2.1"),
            QStringLiteral("2001:db8::17"),
            {{42, QStringLiteral("192.0.2.5")}, {15, QStringLiteral("example.net")}},
            {QStringLiteral("192.0.2.1"), QStringLiteral("192.0.2.2")}};
}

VerimatrixError verimatrixError()
{
    return {QStringLiteral("getKey"), 1203, 4, 7, 2};
}

PurchaseVariant purchaseVariant()
{
    return {
        12, 88120345, QStringLiteral("vod"), QStringLiteral("EUR"), 399, QStringLiteral("tvod"), QStringLiteral("rent"),
        31, 77};
}

MessageTarget messageTarget()
{
    MessageTarget target;
    target.type = QStringLiteral("screen");
    target.title = QStringLiteral("New films");
    target.id = 9;
    target.screenName = QStringLiteral("collection");
    target.collectionId = 450;
    return target;
}

} // namespace

FullProvider::FullProvider()
{
    QMetaEnum const properties = QMetaEnum::fromType<Property>();
    for (int i = 0; i < properties.keyCount(); ++i)
        m_values.push_back(QString::fromLatin1("value of %1").arg(i));

    auto const set = [this](Property property, auto const &value) {
        m_values[std::size_t(property)] = QVariant::fromValue(value);
    };
    set(Property::EventId, QStringLiteral("6d7f5c04-5d4e-4a52-9f2e-0f4a3b1f7a11"));
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
    set(Property::Scte35, Scte35{4711, 8100000});
    set(Property::MessageTarget, messageTarget());
    set(Property::PurchaseVariant, purchaseVariant());
    set(Property::PurchaseVariants,
        QVariantList{QVariant::fromValue(purchaseVariant()), QVariant::fromValue(purchaseVariant())});
    set(Property::CpuInfo, CpuInfo{61, 34, 92, 4, 1500});
    set(Property::MemoryInfo, MemoryInfo{2048000, 1310720, 1703936, 262144, 327680, 912384, 301204, 322560});
    set(Property::HwInfo,
        HardwareInfo{QStringLiteral("Example"),
                     QStringLiteral("Box 4K"),
                     QStringLiteral("arm64"),
                     QStringLiteral("C2"),
                     {{QStringLiteral("DDR4"), 2048, QStringLiteral("2400 MT/s")},
                      {QStringLiteral("eMMC"), 8192, QStringLiteral("5.1")}}});
    set(Property::HdmiInfo, HdmiInfo{QStringLiteral("TV"), QStringLiteral("2160p60"), QStringLiteral("1080p50")});
    set(Property::WifiInfo,
        WifiInfo{QStringLiteral("home"), QStringLiteral("02:00:5e:10:00:99"), qint8(-61), quint16(5180), 433,
                 QStringLiteral("wifi5")});
    set(Property::PowerInfo, PowerInfo{QStringLiteral("on"), 86400, QStringLiteral("rcu")});
    set(Property::SystemSettings,
        SystemSettings{QStringLiteral("1080p"),
                       QStringLiteral("normal"),
                       QStringLiteral("default"),
                       qint16(40),
                       QStringLiteral("off"),
                       QStringLiteral("on"),
                       {{QStringLiteral("hdmi"), QStringLiteral("1080p50")}},
                       QStringLiteral("on"),
                       QStringLiteral("off"),
                       QStringLiteral("on"),
                       QStringLiteral("on")});
    set(Property::NetworkInfo, network());
    set(Property::NetworkInterfaces, QVariantList{QVariant::fromValue(networkInterface())});
    set(Property::Endpoints,
        Endpoints{QStringLiteral("https://api.example.net"), QStringLiteral("wss://ws.example.net"),
                  QStringLiteral("https://spy.example.net"), QStringLiteral("https://img.example.net"),
                  QStringLiteral("https://proxy.example.net")});
    set(Property::NcError,
        NcError{QStringLiteral("https://api.example.net"),
                QStringLiteral("GET"),
                QStringLiteral("/v2/epg"),
                {{QStringLiteral("channel"), QStringLiteral("501")}},
                QStringLiteral("upstream timed out"),
                504,
                30012});
    set(Property::HttpError, HttpError{QStringLiteral("GET"), QStringLiteral("https://cdn.example.net/1.ts"), 404});
    set(Property::VerimatrixCasError, verimatrixError());
    set(Property::VerimatrixDrmError, verimatrixError());
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
