#include "counts.h"

#include <analytics/analyticsmanager.h>
#include <analytics/ipackagesender.h>
#include <analytics/ipropertyprovider.h>
#include <analytics/jsoneventserializer.h>
#include <analytics/records.h>

#include <QtCore/QLoggingCategory>
#include <QtTest/QtTest>

#include <cstdlib>
#include <malloc.h>
#include <vector>

/**
 * @file
 * @brief A day of a box in one run: every event arrives once, and the memory in use stays what it was.
 *
 * STBANALYTICS_SOAK_EVENTS makes the run shorter or longer. One of many millions takes longer than QtTest allows a
 * function: set QTEST_FUNCTION_TIMEOUT too.
 */

using namespace analytics;

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr int usualEvents = 100000;
#else
constexpr int usualEvents = 1000000;
#endif

/// Answers with what differs from event to event, and with a record wherever one is expected of it.
class Provider : public IPropertyProvider
{
    QVariant value(Property property, AnalyticsEventData const &data) const override
    {
        int const n = data.tag;
        switch (property) {
        case Property::EventCounter:
            return n;
        case Property::Timestamp:
            return qint64(data.time.count());
        case Property::EventVersion:
        case Property::SystemUptime:
        case Property::Offset:
            return n % 1000;
        case Property::Channel:
            return data.value;
        case Property::MediaItem:
            return QVariant::fromValue(MediaItem{n, {}});
        case Property::Decoder:
            return QVariant::fromValue(DecoderInfo{n, 0, 0, n, 0, 0});
        case Property::Etr290: {
            Etr290Info info;
            info.ccErrorVideo = quint64(n % 7);
            return QVariant::fromValue(info);
        }
        case Property::CpuInfo: {
            CpuInfo info;
            info.cpuAverageLoad = n % 100;
            return QVariant::fromValue(info);
        }
        case Property::NetworkInterfaces: {
            NetworkInterface interface;
            interface.interfaceName = QStringLiteral("eth%1").arg(n % 3);
            interface.dns = {QStringLiteral("192.0.2.1"), QStringLiteral("192.0.2.2")};
            interface.dhcpOptions = {{12, QStringLiteral("box")}};
            return QVariantList{QVariant::fromValue(interface), QVariant::fromValue(interface)};
        }
        case Property::SystemSettings: {
            SystemSettings settings;
            settings.videoOutputs = {{QStringLiteral("hdmi"), QStringLiteral("1080p")}};
            return QVariant::fromValue(settings);
        }
        case Property::PurchaseVariants: {
            PurchaseVariant variant;
            variant.currency = QStringLiteral("EUR");
            return QVariantList{QVariant::fromValue(variant)};
        }
        case Property::VmxErrors:
            return QVariant::fromValue(VmxErrors{n, {{QStringLiteral("decrypt"), n % 5, {}, {}, 1}}});
        case Property::PlaybackUrlsList:
            return QStringList{QStringLiteral("http://a.example/%1").arg(n), QStringLiteral("http://b.example/")};
        case Property::ErrorDetails: // Left to Qt's own JSON classes
            return QVariantMap{{QStringLiteral("code"), n}, {QStringLiteral("text"), QStringLiteral("lost")}};
        default:
            return QStringLiteral("%1 %2").arg(int(property)).arg(n % 10000);
        }
    }
};

/// Ticks off each event that arrives, by its counter.
class Sender : public IPackageSender
{
public:
    explicit Sender(int events)
        : arrivals(std::size_t(events))
    {
    }

    void send(QByteArray const &package, bool) override
    {
        bytes += package.size();
        broken += !package.startsWith(R"({"events":[{)") || !package.endsWith("}]}");
        QByteArrayView const key = "\"event_counter\":";
        for (qsizetype at = package.indexOf(key); at >= 0; at = package.indexOf(key, at)) {
            at += key.size();
            ++arrivals.at(std::size_t(std::atoi(package.constData() + at)));
        }
    }

    std::vector<unsigned char> arrivals; ///< How often each event has come.
    qint64 bytes = 0;
    int broken = 0;
};

/// Bytes that malloc has given out.
qint64 allocatedBytes()
{
    struct mallinfo2 const heap = mallinfo2();
    return qint64(heap.uordblks) + qint64(heap.hblkhd);
}

} // namespace

class TestSoak : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void day();
};

void TestSoak::day()
{
    QLoggingCategory::setFilterRules(QStringLiteral("stbanalytics=false"));
    constexpr char variable[] = "STBANALYTICS_SOAK_EVENTS";
    bool isNumber = true;
    int const events
        = qEnvironmentVariableIsSet(variable) ? qEnvironmentVariableIntValue(variable, &isNumber) : usualEvents;
    QVERIFY2(isNumber && events >= 10000, "STBANALYTICS_SOAK_EVENTS is to be a number, at least 10000");

    Provider provider;
    JsonEventSerializer serializer;
    Sender sender(events);
    AnalyticsManager manager;
    manager.setPropertyProvider(&provider);
    manager.setEventSerializer(&serializer);
    manager.setPackageSender(&sender);

    // Some events wait, most flush, some go alone; every 5000 the box may not send for 100 of them. The last one
    // flushes.
    auto const report = [&manager](int begin, int end) {
        using P = EventPriority;
        constexpr P priorities[] = {P::Low, P::Medium, P::Low, P::Low, P::High, P::Medium, P::Medium};
        for (int n = begin; n < end; ++n) {
            bool const isLast = n == end - 1;
            manager.setEnabled(isLast || n % 5000 >= 100);
            manager.appendEvent(EventType(1 + n % eventTypeCount), n, std::chrono::milliseconds(qint64(n) * 86),
                                QVariant::fromValue(Channel{n % 500, {}}),
                                isLast ? P::Medium : priorities[n % int(std::size(priorities))]);
        }
    };
    report(0, events / 10);
    qint64 const early = allocatedBytes();
    report(events / 10, events);
    qint64 const late = allocatedBytes();

    qInfo("%d events, %lld bytes in packages; malloc's bytes after a tenth and at the end: %lld and %lld", events,
          sender.bytes, early, late);
    QCOMPARE(sender.broken, 0);
    QVERIFY(sender.arrivals == std::vector<unsigned char>(std::size_t(events), 1));
#ifdef __SANITIZE_ADDRESS__
    QSKIP("what was freed is kept by AddressSanitizer, so that the memory in use tells nothing");
#endif
    QVERIFY(early > 0);
    // Each thread's malloc keeps some chunks of each size at hand, and counts them as given out.
    QVERIFY2(late - early <= 64 * 1024, "malloc's memory grows");
}

QTEST_GUILESS_MAIN(TestSoak)
#include "tst_soak.moc"
