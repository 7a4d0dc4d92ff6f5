#include "agreement.h"

#include "host.h"
#include "peers.h"

#include <analytics/jsoneventserializer.h>
#include <analytics/records.h>
#include <reference/referenceserializer.h>

#include <QtCore/QJsonDocument>

#include <cstdio>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

using namespace analytics;

namespace {

/// A provider that also has what is left out, and lists of it.
class OddProvider : public FullProvider
{
public:
    QVariant value(Property property, AnalyticsEventData const &data) const override
    {
        QVariant const decoder = QVariant::fromValue(DecoderInfo{1, 2, 3, 4, 5, 6});
        QVariant const cpu = QVariant::fromValue(CpuInfo{1, 2, 3, 4, 5});
        switch (property) {
        case Property::San:
            return {};
        case Property::Location:
            return QString();
        case Property::SubLocation:
            return QStringLiteral("");
        case Property::HomeMrf:
            return QVariantList();
        case Property::CurrentMrf:
            return QVariant::fromValue(Channel());
        case Property::CurLocation:
            return QVariantList{
                QVariant(),     QVariant(QMetaType::fromType<QString>()), QStringLiteral(""),
                QVariantList(), QVariant::fromValue(Channel()),           QVariant::fromValue(VerimatrixError())};
        case Property::CurSubLocation:
            return QVariantList{decoder, QVariantList{cpu, true}, 0.5};
        default:
            return FullProvider::value(property, data);
        }
    }
};

void registerConverters()
{
    QMetaType::registerConverter<PowerInfo, QString>([](PowerInfo const &) { return QStringLiteral("a text"); });
    QMetaType::registerConverter<CpuInfo, Channel>([](CpuInfo const &from) { return Channel{from.cpuCores, 1}; });
    // To no effect: an empty text, and a record that stands behind.
    QMetaType::registerConverter<MemoryInfo, QString>([](MemoryInfo const &) { return QString(); });
    QMetaType::registerConverter<WifiInfo, MdiInfo>([](WifiInfo const &) { return MdiInfo{1, 2}; });
    // It fails, and leaves a record without members.
    QMetaType::registerConverterFunction([](void const *, void *) { return false; }, QMetaType::fromType<DecoderInfo>(),
                                         QMetaType::fromType<MediaItem>());
}

/// The same members in the order of their keys, with numbers as Qt writes them.
QByteArray normalized(QByteArray const &json)
{
    return QJsonDocument::fromJson(json).toJson(QJsonDocument::Compact);
}

bool isSame(std::string const &encoder, QByteArray const &actual, QByteArray const &expected)
{
    if (actual == expected)
        return true;
    std::fprintf(stderr, "%s writes\n%s\nand the library\n%s\n", encoder.c_str(), actual.constData(),
                 expected.constData());
    return false;
}

bool agree(IPropertyProvider const &provider, EventType type, Converters converters)
{
    AnalyticsEventData const data = eventOf(type);
    QList<Property> const generic = genericProperties();
    QByteArray const expected = JsonEventSerializer().serialize(&provider, data, generic);
    std::string const prefix = converters == Converters::Ignored ? "bare " : "";
    return isSame("the reference", ReferenceSerializer().serialize(&provider, data, generic), expected)
        && isSame(prefix + "nlohmann::json", normalized(serializeWithNlohmann(provider, data, generic, converters)),
                  expected)
        && isSame(prefix + "RapidJSON", normalized(serializeWithRapidJson(provider, data, generic, converters)),
                  expected);
}

/// Encoders that all miss the converters would agree as well.
bool convertersShow(OddProvider const &odd)
{
    QByteArray const event = JsonEventSerializer().serialize(&odd, eventOf(EventType::SqmMetrics), {});
    for (char const *member :
         {R"("power_info":"a text")", R"("cpu_info":{"channel_id":4,"program_id":1})",
          R"("cur_sub_location":[null,[{"channel_id":4,"program_id":1},true],0.5])", R"("wifi_info":{"wifi_bssid":)"}) {
        if (!event.contains(member)) {
            std::fprintf(stderr, "the library writes\n%s\nwithout\n%s\n", event.constData(), member);
            return false;
        }
    }
    return true;
}

bool allAgree()
{
    FullProvider const full;
    for (EventType type : {EventType::SqmMetrics, EventType::KivoStatus, EventType::PlaybackStart}) {
        if (!agree(full, type, Converters::Ignored) || !agree(full, type, Converters::Honoured))
            return false;
    }

    OddProvider const odd;
    if (!agree(odd, EventType::SqmMetrics, Converters::Honoured))
        return false;
    registerConverters();
    return convertersShow(odd) && agree(full, EventType::SqmMetrics, Converters::Honoured)
        && agree(odd, EventType::SqmMetrics, Converters::Honoured);
}

} // namespace

bool peersAgree()
{
    // Elsewhere: what is registered here would change what is measured.
    pid_t const child = fork();
    if (child == 0)
        _exit(allAgree() ? 0 : 1);
    int status = -1;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}
