#include "counts.h"
#include "patience.h"
#include "support.h"

#include <stbhost/host.h>
#include <stbhost/live.h>
#include <stbhost/machine.h>
#include <stbhost/options.h>
#include <stbhost/payload.h>
#include <stbhost/properties.h>
#include <stbhost/script.h>
#include <stbhost/sender.h>
#include <stbhost/stopsignal.h>

#include <QtCore/QBuffer>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QMetaEnum>
#include <QtCore/QProcess>
#include <QtCore/QSet>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <algorithm>
#include <csignal>
#include <map>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <unistd.h>

using namespace analytics;
using namespace stbhost;

// clang-format off

/// What each event is made of, besides what all of them are made of.
static std::map<QByteArray, QByteArray> const eventKeys = {
    {"discover",                    "serial_number discover_case endpoints"},
    {"message_clicked",             "san app_screen message_id message_type target delivery poll_result"},
    {"message_shown",               "san app_screen message_id message_type target delivery"},
    {"playback_ad",                 "san channel media_item playback_session scte35 ad_playlist ad_place_type ad_server ad_duration playback_url"},
    {"playback_ad_stop",            "san channel media_item playback_session scte35 ad_playlist ad_place_type ad_server playback_url playback_position playback_duration ad_duration"},
    {"playback_error",              "san firmware_version kivo_version channel media_item media_type playback_url playback_session error_reason error_details playback_real_ip home_mrf current_mrf vmx_cas_error vmx_drm_error rcu_idle_period playback_playlist_url playback_segment_url"},
    {"playback_fallback",           "san channel media_item media_type playback_url_failed playback_url_new playback_urls_list playback_session offset demo_mode"},
    {"playback_new_program",        "san channel media_type demo_mode usage_model"},
    {"playback_pause",              "san channel media_item playback_session offset"},
    {"playback_pause_resume",       "san channel media_item media_type playback_session demo_mode offset usage_model"},
    {"playback_restore",            "san firmware_version kivo_version channel media_item media_type playback_url playback_session offset demo_mode"},
    {"playback_set_position",       "san channel media_item media_type playback_session demo_mode offset old_offset usage_model"},
    {"playback_start",              "san channel media_item media_type playback_session demo_mode offset usage_model"},
    {"playback_status",             "san channel media_item media_type playback_url playback_session demo_mode offset playback_state usage_model player_mode rcu_idle_period"},
    {"playback_stop",               "san channel media_item media_type playback_session offset"},
    {"playback_trickmode",          "san channel media_item playback_session offset trickmode_speed"},
    {"playback_trickmode_resume",   "san channel media_item media_type playback_session demo_mode offset usage_model"},
    {"playback_zap",                "san home_mrf current_mrf location sub_location cur_location cur_sub_location playback_session app_preparation_time user_interaction_time media_receiving_time media_processing_time zap_time media_type playback_url"},
    {"profile_change",              "san profile_id default_age_limit pin profile_type"},
    {"purchase_options",            "san trigger_id trigger_content_type purchase_variants"},
    {"purchase_request",            "san purchase_variant trigger_id trigger_content_type"},
    {"purchase_result",             "san purchase_variant ticket_id pay_method_id is_should_link_card result_code"},
    {"purchase_service_components", "san service_id components"},
    {"purchase_unsubscribe",        "san service_id valid_until result_code"},
    {"search_result",               "san query total_items"},
    {"sqm_metrics",                 "san home_mrf location sub_location current_mrf cur_location cur_sub_location kivo_version firmware_version device_type broadcast_type media_type channel media_item playback_state playback_url playback_session ip_tos mcast_source system_uptime active_interface rcu_idle_period interval_ms decoder buffering clock_continuity_gap media_bitrate_kbps link_faults mdi etr290 hls dash cpu_info memory_info power_info network_info wifi_info error_reason playback_real_ip media_info vmx_errors playback_playlist_url playback_segment_url"},
    {"system_boot",                 "timezone serial_number network_interfaces active_interface wifi_info hw_info cpu_info memory_info firmware_version kivo_version system_load_time hdmi_status hdmi_info system_settings"},
    {"system_status",               "timezone serial_number system_uptime active_interface network_interfaces wifi_info cpu_info firmware_version kivo_version power_info memory_info hdmi_status hdmi_info system_settings rcu_idle_period"},
    {"ui_button_click",             "san app_screen path button_name content_id content_type media_block_short"},
    {"ui_content_rating",           "san content_id content_type rating"},
    {"ui_feedback",                 "san content_id content_type feedback"},
    {"ui_item_click",               "san app_screen media_block_short media_block_position item_id item_type item_position target path"},
    {"ui_media_block_change",       "san app_screen media_block media_block_position path"},
    {"ui_media_block_focus",        "san app_screen media_block media_block_position path"},
    {"ui_menu_click",               "san id title target path app_screen"},
    {"ui_target_view",              "san app_screen target elements name path"},
    {"ui_widget_clicked",           "san app_screen path widget_name content_id content_type"},
    {"ui_widget_shown",             "san app_screen path widget_name content_id content_type offset"},
    {"kivo_auth",                   "san auth_mode login_mode"},
    {"kivo_error",                  "san firmware_version kivo_version session_state kivo_module_name error_reason error_details nc_error http_error home_mrf current_mrf rcu_idle_period"},
    {"kivo_restore",                "san firmware_version kivo_version error_reason restore_reason"},
    {"kivo_status",                 "auth_mode broadcast_type btb_type is_test cur_location cur_sub_location home_mrf location model_name manufacturer profile_id device_type san firmware_version session_state status sub_location current_mrf kivo_version kivo_load_time"},
};

/// The keys that are not simply the property's name in lower-case words.
static std::map<QByteArray, QByteArray> const irregularKeys = {
    {"B2bType",                "btb_type"},
    {"BufferingInfo",          "buffering"},
    {"Interval",               "interval_ms"},
    {"ItemTarget",             "target"},
    {"KivoStatus",             "status"},
    {"MediaKBitrate",          "media_bitrate_kbps"},
    {"MessageDelivery",        "delivery"},
    {"MessageTarget",          "target"},
    {"PlaybackTrickModeSpeed", "trickmode_speed"},
    {"TimeZone",               "timezone"},
    {"VerimatrixCasError",     "vmx_cas_error"},
    {"VerimatrixDrmError",     "vmx_drm_error"},
};

// clang-format on

using Keys = QSet<QByteArray>;

static Keys keysOf(QByteArray const &words)
{
    QList<QByteArray> const list = words.split(' ');
    return Keys(list.begin(), list.end());
}

/// What every event is made of.
static Keys const genericKeys = keysOf("event_id event_version event_counter timestamp mac_address uid");

/// What a machine may know without being told; the one below data/stbhost/root knows all of it.
static Keys const machineKeys
    = keysOf("active_interface cpu_info firmware_version hdmi_status hw_info link_faults manufacturer memory_info "
             "model_name network_info network_interfaces serial_number system_uptime timezone wifi_info");

static QByteArray keyOf(QByteArray const &property)
{
    auto const irregular = irregularKeys.find(property);
    if (irregular != irregularKeys.end())
        return irregular->second;
    QByteArray key;
    for (char letter : property) {
        if (letter >= 'A' && letter <= 'Z' && !key.isEmpty())
            key += '_';
        key += letter;
    }
    return key.toLower();
}

static QString dataPath(char const *name)
{
    return QStringLiteral(STBHOST_DATA "/") + QLatin1String(name);
}

/// What the system answers when it is asked for the addresses of its interfaces; none for a failure.
static ifaddrs *systemInterfaces = nullptr;
/// Whether what it answered was given back.
static bool areInterfacesFreed = false;

extern "C" int getifaddrs(ifaddrs **interfaces) noexcept
{
    areInterfacesFreed = false;
    *interfaces = systemInterfaces;
    return systemInterfaces ? 0 : -1;
}

extern "C" void freeifaddrs(ifaddrs *interfaces) noexcept
{
    areInterfacesFreed = interfaces == systemInterfaces;
}

static InterfaceAddresses noAddresses()
{
    return {};
}

static InterfaceAddresses fixtureAddresses()
{
    return {{QStringLiteral("eth0"),
             {QStringLiteral("192.0.2.40"), QStringLiteral("255.255.255.0"), QStringLiteral("2001:db8::40")}}};
}

static Machine fixtureMachine()
{
    return Machine(dataPath("root"), fixtureAddresses);
}

static QJsonObject objectOf(QByteArray const &json)
{
    return QJsonDocument::fromJson(json).object();
}

/// The events of all packages, by counter. Empty when a package is not one.
static QMap<int, QJsonObject> eventsOf(QByteArray const &output)
{
    QMap<int, QJsonObject> events;
    QList<QByteArray> const lines = output.split('\n');
    for (QByteArray const &line : lines) {
        if (line.isEmpty())
            continue;
        QJsonObject const package = objectOf(line);
        if (package.keys() != QStringList(QStringLiteral("events")))
            return {};
        QJsonArray const array = package.value(QLatin1String("events")).toArray();
        for (QJsonValue const &event : array)
            events.insert(event[QLatin1String("event_counter")].toInt(), event.toObject());
    }
    return events;
}

static Keys presentKeys(QJsonObject const &event)
{
    Keys keys;
    for (auto it = event.begin(); it != event.end(); ++it)
        keys.insert(it.key().toUtf8());
    return keys;
}

static Keys givenKeys(QJsonObject const &scriptLine)
{
    Keys keys;
    QJsonObject const values = scriptLine.value(QLatin1String("values")).toObject();
    for (auto it = values.begin(); it != values.end(); ++it)
        keys.insert(keyOf(it.key().toUtf8()));
    return keys;
}

static QList<QJsonObject> evening()
{
    QFile file(QStringLiteral(STBHOST_EVENING));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QList<QJsonObject> lines;
    while (!file.atEnd())
        lines.append(objectOf(file.readLine()));
    return lines;
}

static QByteArray eventName(QJsonObject const &scriptLine)
{
    return scriptLine.value(QLatin1String("event")).toString().toUtf8();
}

/// Plays a script in this process, on the machine below data/stbhost/root.
static QByteArray played(QIODevice &script, QByteArray *messages = nullptr)
{
    script.open(QIODevice::ReadOnly);
    QBuffer output;
    output.open(QIODevice::WriteOnly);
    QByteArray text;
    QTextStream stream(&text);

    Machine machine = fixtureMachine();
    LineSender sender(output);
    Host host(machine, sender);
    playScript(
        script, QStringLiteral("script"), host, [] { return true; }, stream);
    if (messages)
        *messages = text;
    return output.data();
}

static QByteArray played(QByteArray script, QByteArray *messages = nullptr)
{
    QBuffer input(&script);
    return played(input, messages);
}

/// A pipe in the place of this process's standard input. Its destructor also restores the signal mask, which a
/// StopSignal changes.
class OwnInput
{
public:
    OwnInput()
        : m_before(dup(STDIN_FILENO))
    {
        int ends[2];
        if (pipe(ends) != 0)
            qFatal("no pipe");
        dup2(ends[0], STDIN_FILENO);
        close(ends[0]);
        m_end = ends[1];
        pthread_sigmask(SIG_SETMASK, nullptr, &m_signals);
    }
    OwnInput(OwnInput const &) = delete;
    OwnInput &operator=(OwnInput const &) = delete;
    ~OwnInput()
    {
        end();
        dup2(m_before, STDIN_FILENO);
        close(m_before);
        pthread_sigmask(SIG_SETMASK, &m_signals, nullptr);
    }

    void write(QByteArray const &bytes) const
    {
        QCOMPARE(::write(m_end, bytes.data(), size_t(bytes.size())), bytes.size());
    }

    void end()
    {
        if (m_end >= 0)
            close(m_end);
        m_end = -1;
    }

private:
    int m_before;
    int m_end = -1;
    sigset_t m_signals{};
};

/// Takes every second line.
class FaultyDevice : public QIODevice
{
public:
    QByteArray written;

protected:
    qint64 readData(char *, qint64) override { return -1; }

    qint64 writeData(char const *data, qint64 size) override
    {
        m_takes = !m_takes;
        if (m_takes) {
            written.append(data, static_cast<qsizetype>(size));
            return size;
        }
        setErrorString(QStringLiteral("no room"));
        return size - 1;
    }

private:
    bool m_takes = false;
};

struct Run
{
    int exitCode = -1;
    QByteArray output;
    QByteArray errors;
};

/// The library's log would stand between the messages that most tests are after.
static QProcessEnvironment environment(QString const &loggingRules = QStringLiteral("stbanalytics.debug=false"))
{
    QProcessEnvironment result = QProcessEnvironment::systemEnvironment();
    result.insert(QStringLiteral("QT_LOGGING_RULES"), loggingRules);
    return result;
}

/// STBHOST is a command, not a path: a program for another processor is run by an emulator.
static void start(QProcess &process, QStringList const &arguments)
{
    QStringList command;
    for (char const *word : {STBHOST})
        command.append(QString::fromLocal8Bit(word));
    QString const program = command.takeFirst();
    process.start(program, command + arguments);
}

static Run run(QStringList const &arguments, QByteArray const &input = {},
               QProcessEnvironment const &processEnvironment = environment())
{
    QProcess process;
    process.setProcessEnvironment(processEnvironment);
    start(process, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(patience()) || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

static QByteArray const mediumLine
    = R"({"event":"search_result","priority":"medium","time":5,"values":{"Query":"sea"}})";
static QByteArray const lowLine = R"({"event":"kivo_auth","priority":"low","time":6})";
static QByteArray const highLine = R"({"event":"kivo_error","priority":"high","time":7})";

class tst_Stbhost : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void machine_data();
    void machine();
    void loadIsThatSinceTheLastCall();
    void loadWaitsForTicks();
    void loadOfTicksThatRunBackwards();
    void memoryUseIsThatOfAllCalls();
    void routeWithoutGateway();
    void wifiLevel_data();
    void wifiLevel();
    void addressesOfTheSystem();
    void thisMachineIsTheDefault();

    void everyPropertyIsRead_data();
    void everyPropertyIsRead();
    void recordsComeOutAsTheyWentIn_data();
    void recordsComeOutAsTheyWentIn();
    void plainValues_data();
    void plainValues();
    void eventBringsItsIdentity();
    void payloadWinsOverMachine();

    void badLine_data();
    void badLine();
    void optionsAreRead();
    void commandLine_data();
    void commandLine();
    void boxIsNamed();
    void standbyFlushes();
    void scriptComesInPieces_data();
    void scriptComesInPieces();
    void inputIsReadByBytesToo();
    void inputKeepsToTheRoom();
    void inputEndsWhenToldTo();
    void stopSignal();
    void scriptEndsWhenToldTo();
    void scriptEndsOnSignal();
    void scriptFiles();
    void highPriorityOvertakes();
    void logGoesToStandardError();
    void closedPipeIsAnError();
    void nothingFollowsAFailure();

    void eveningTellsEveryEvent();
    void eveningOnFixture();
    void eveningOnThisMachine();

    void live();
    void liveKeepsItsInterval();
    void liveCountsBeyond32Bits();
    void liveEndsOnSignal();
};

void tst_Stbhost::machine_data()
{
    QTest::addColumn<QString>("root");
    QTest::addColumn<Property>("property");
    QTest::addColumn<QByteArray>("json");

    struct Row
    {
        Property property;
        char const *fixture;
        char const *deviceTree;
    };
    // clang-format off
    // The kernel prints a gateway as a number of the processor's own, and a little-endian one has printed the fixture.
    static char const *const interfaces = Q_BYTE_ORDER == Q_LITTLE_ENDIAN
        ? R"([{"dns":["192.0.2.53","198.51.100.53"],"gateway":"192.0.2.1","interface_name":"eth0","ip_v4":"192.0.2.40","ip_v6":"2001:db8::40","mac":"02:00:5e:10:00:01","netmask":"255.255.255.0","status":"up"},{"gateway":"198.51.100.1","interface_name":"wlan0","mac":"02:00:5e:10:00:02","status":"up"}])"
        : R"([{"dns":["192.0.2.53","198.51.100.53"],"gateway":"1.2.0.192","interface_name":"eth0","ip_v4":"192.0.2.40","ip_v6":"2001:db8::40","mac":"02:00:5e:10:00:01","netmask":"255.255.255.0","status":"up"},{"gateway":"1.100.51.198","interface_name":"wlan0","mac":"02:00:5e:10:00:02","status":"up"}])";
    static Row const rows[] = {
        {Property::ActiveInterface,   R"("eth0")", R"("wlan0")"},
        {Property::CpuInfo,           R"({"cpu_average_load":30,"cpu_cores":2,"cpu_max_load":40,"cpu_temperature":58,"sys_clock_freq_mhz":1512})",
                                      R"({"cpu_temperature":61,"sys_clock_freq_mhz":1500})"},
        {Property::FirmwareVersion,   R"("Example Linux 4.2")", R"("2026.02")"},
        {Property::HdmiStatus,        "true", "false"},
        {Property::HwInfo,            R"({"hw_revision":"C2","manufacturer":"Example Devices","model_name":"EX-400","platform":"Example CPU 4"})",
                                      R"({"model_name":"Example Board 2","platform":"example,board-2"})"},
        {Property::LinkFaults,        "3", ""},
        {Property::MacAddress,        R"("02:00:5e:10:00:01")", R"("02:00:5e:10:00:12")"},
        {Property::Manufacturer,      R"("Example Devices")", ""},
        {Property::MemoryInfo,        R"({"mem_average_usage":648000,"mem_max_usage":648000,"mem_total":2048000,"vm_rss":11400,"vm_rss_max":11900,"vm_size":52000})", ""},
        {Property::ModelName,         R"("EX-400")", R"("Example Board 2")"},
        {Property::NetworkInfo,       R"({"duplex":"full","interface_name":"eth0","mac":"02:00:5e:10:00:01","speed_mbps":1000,"statistics":{"rx_crc_errors":5,"rx_dropped":3,"rx_errors":1,"rx_frame_errors":6,"tx_dropped":4,"tx_errors":2}})",
                                      R"({"interface_name":"wlan0","mac":"02:00:5e:10:00:12","statistics":{}})"},
        {Property::NetworkInterfaces, interfaces,
                                      R"([{"interface_name":"eth0","ip_v4":"192.0.2.40","ip_v6":"2001:db8::40","mac":"02:00:5e:10:00:11","netmask":"255.255.255.0","status":"lowerlayerdown"},{"interface_name":"wlan0","mac":"02:00:5e:10:00:12","status":"up"}])"},
        {Property::SerialNumber,      R"("EX400-000271")", R"("00c0ffee")"},
        {Property::SystemUptime,      "4211370", ""},
        {Property::Uid,               R"("163eb2e4a9d737822c91541b9cc05614")", ""},
        {Property::WifiInfo,          R"({"wifi_rssi":-56})", ""},
    };
    // clang-format on

    for (Row const &row : rows) {
        char const *name = QMetaEnum::fromType<Property>().valueToKey(static_cast<int>(row.property));
        QTest::addRow("%s", name) << dataPath("root") << row.property << QByteArray(row.fixture);
        QTest::addRow("%s of a device tree", name)
            << dataPath("device-tree") << row.property << QByteArray(row.deviceTree);
        QTest::addRow("%s of nothing", name) << dataPath("none") << row.property << QByteArray();
    }
}

void tst_Stbhost::machine()
{
    QFETCH(QString, root);
    QFETCH(Property, property);
    QFETCH(QByteArray, json);

    Machine machine(root, root == dataPath("none") ? noAddresses : fixtureAddresses);
    QCOMPARE(encoded(knownValue(property, machine, {})), json);
}

static void writeFile(QString const &path, QByteArray const &contents)
{
    QVERIFY(QDir().mkpath(path.section(QLatin1Char('/'), 0, -2)));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(contents);
}

void tst_Stbhost::loadIsThatSinceTheLastCall()
{
    QTemporaryDir root;
    QString const path = root.filePath(QStringLiteral("proc/stat"));
    Machine machine(root.path(), noAddresses);

    writeFile(path, "cpu 300 0 0 700 0 0 0 0\ncpu0 100 0 0 400 0 0 0 0\ncpu1 200 0 0 300 0 0 0 0\n");
    QCOMPARE(machine.cpuInfo().cpuAverageLoad, std::optional<qint16>(30));
    QCOMPARE(machine.cpuInfo().cpuMaxLoad, std::optional<qint16>(40));

    writeFile(path, "cpu 450 0 0 750 0 0 0 0\ncpu0 200 0 0 400 0 0 0 0\ncpu1 250 0 0 350 0 0 0 0\n");
    CpuInfo const info = machine.cpuInfo();
    QCOMPARE(info.cpuAverageLoad, std::optional<qint16>(75));
    QCOMPARE(info.cpuMaxLoad, std::optional<qint16>(100));

    // Too few ticks later to tell.
    writeFile(path, "cpu 450 0 0 769 0 0 0 0\ncpu0 200 0 0 410 0 0 0 0\ncpu1 250 0 0 359 0 0 0 0\n");
    QCOMPARE(machine.cpuInfo().cpuAverageLoad, std::optional<qint16>(75));
}

void tst_Stbhost::loadWaitsForTicks()
{
    QTemporaryDir root;
    QString const path = root.filePath(QStringLiteral("proc/stat"));
    Machine machine(root.path(), noAddresses);

    writeFile(path, "cpu 50 0 0 50 0 0 0 0\ncpu0 50 0 0 50 0 0 0 0\n");
    QCOMPARE(machine.cpuInfo().cpuAverageLoad, std::optional<qint16>(50));

    // Twice too few of them are enough.
    writeFile(path, "cpu 59 0 0 50 0 0 0 0\ncpu0 59 0 0 50 0 0 0 0\n");
    QCOMPARE(machine.cpuInfo().cpuAverageLoad, std::optional<qint16>(50));
    writeFile(path, "cpu 60 0 0 50 0 0 0 0\ncpu0 60 0 0 50 0 0 0 0\n");
    QCOMPARE(machine.cpuInfo().cpuAverageLoad, std::optional<qint16>(100));
}

void tst_Stbhost::loadOfTicksThatRunBackwards()
{
    QTemporaryDir root;
    QString const path = root.filePath(QStringLiteral("proc/stat"));
    Machine machine(root.path(), noAddresses);
    writeFile(path, "cpu 200 0 0 200 100 0 0 0\ncpu0 100 0 0 100 50 0 0 0\ncpu1 100 0 0 100 50 0 0 0\n");
    machine.cpuInfo();

    // The time of waiting for I/O, of a processor that was never idle.
    writeFile(path, "cpu 280 0 0 200 50 0 0 0\ncpu0 180 0 0 100 0 0 0 0\ncpu1 100 0 0 100 50 0 0 0\n");
    CpuInfo info = machine.cpuInfo();
    QCOMPARE(info.cpuAverageLoad, std::optional<qint16>(100));
    QCOMPARE(info.cpuMaxLoad, std::optional<qint16>(100));

    // The busy time, and then all of a core's.
    writeFile(path, "cpu 270 0 0 300 50 0 0 0\ncpu0 175 0 0 150 0 0 0 0\ncpu1 95 0 0 150 50 0 0 0\n");
    info = machine.cpuInfo();
    QCOMPARE(info.cpuAverageLoad, std::optional<qint16>(0));
    QCOMPARE(info.cpuMaxLoad, std::optional<qint16>(0));
    writeFile(path, "cpu 320 0 0 350 50 0 0 0\ncpu0 225 0 0 200 0 0 0 0\ncpu1 96 0 0 0 0 0 0 0\n");
    info = machine.cpuInfo();
    QCOMPARE(info.cpuAverageLoad, std::optional<qint16>(50));
    QCOMPARE(info.cpuMaxLoad, std::optional<qint16>(50));
}

void tst_Stbhost::memoryUseIsThatOfAllCalls()
{
    QTemporaryDir root;
    QString const path = root.filePath(QStringLiteral("proc/meminfo"));
    Machine machine(root.path(), noAddresses);

    writeFile(path, "MemTotal: 1000 kB\nMemAvailable: 400 kB\n");
    QCOMPARE(machine.memoryInfo().memAverageUsage, std::optional(600));

    writeFile(path, "MemTotal: 1000 kB\nMemAvailable: 900 kB\n");
    MemoryInfo const info = machine.memoryInfo();
    QCOMPARE(info.memAverageUsage, std::optional(350));
    QCOMPARE(info.memMaxUsage, std::optional(600));
}

void tst_Stbhost::routeWithoutGateway()
{
    QTemporaryDir root;
    writeFile(root.filePath(QStringLiteral("proc/net/route")), "ppp0 00000000 00000000 0001 0 0 0 00000000\n");
    writeFile(root.filePath(QStringLiteral("sys/class/net/ppp0/operstate")), "unknown\n");
    Machine const machine(root.path(), noAddresses);
    QCOMPARE(machine.activeInterface(), QStringLiteral("ppp0"));
    QCOMPARE(machine.networkInterfaces().value(0).interfaceName, QStringLiteral("ppp0"));
    QCOMPARE(machine.networkInterfaces().value(0).gateway, QString());
}

void tst_Stbhost::wifiLevel_data()
{
    QTest::addColumn<QByteArray>("level");
    QTest::addColumn<std::optional<qint8>>("rssi");

    auto const row
        = [](char const *level, std::optional<qint8> rssi) { QTest::newRow(level) << QByteArray(level) << rssi; };
    row("-1.", -1);
    row("-128.", -128);
    // A driver that knows no dBm gives a level from 0 to 255, or no number.
    row("-129.", std::nullopt);
    row("0.", std::nullopt);
    row("40.", std::nullopt);
    row("none", std::nullopt);
}

void tst_Stbhost::wifiLevel()
{
    QFETCH(QByteArray, level);
    QFETCH(std::optional<qint8>, rssi);

    QTemporaryDir root;
    writeFile(root.filePath(QStringLiteral("proc/net/wireless")), "Inter-|\n wlan0: 0000 54. " + level + " -256\n");
    std::optional<WifiInfo> const info = Machine(root.path(), noAddresses).wifiInfo();
    QVERIFY(info);
    QCOMPARE(info->wifiRssi, rssi);
}

void tst_Stbhost::addressesOfTheSystem()
{
    QCOMPARE(systemAddresses().size(), 0);

    auto const ipV4 = [](char const *text) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        inet_pton(AF_INET, text, &address.sin_addr);
        return address;
    };
    auto const ipV6 = [](char const *text) {
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        inet_pton(AF_INET6, text, &address.sin6_addr);
        return address;
    };
    sockaddr_in v4[] = {ipV4("192.0.2.40"), ipV4("192.0.2.41"), ipV4("198.51.100.7")};
    sockaddr_in masks[] = {ipV4("255.255.255.0"), ipV4("255.255.0.0")};
    sockaddr_in6 v6[] = {ipV6("2001:db8::40"), ipV6("fe80::40")};
    sockaddr packet{};
    packet.sa_family = AF_PACKET;

    struct Row
    {
        char name[5];
        void *address;
        void *mask;
    };
    Row rows[] = {
        {"eth0", &packet, nullptr}, {"eth0", &v4[0], &masks[0]}, {"eth0", &v4[1], &masks[1]}, {"eth0", &v6[0], nullptr},
        {"eth0", &v6[1], nullptr},  {"tun0", nullptr, nullptr},  {"ppp0", &v4[2], nullptr},
    };
    ifaddrs list[std::size(rows)] = {};
    for (size_t i = 0; i < std::size(rows); ++i) {
        list[i].ifa_next = i + 1 < std::size(rows) ? &list[i + 1] : nullptr;
        list[i].ifa_name = rows[i].name;
        list[i].ifa_addr = static_cast<sockaddr *>(rows[i].address);
        list[i].ifa_netmask = static_cast<sockaddr *>(rows[i].mask);
    }
    systemInterfaces = list;
    InterfaceAddresses const addresses = systemAddresses();
    systemInterfaces = nullptr;

    QVERIFY(areInterfacesFreed);
    QCOMPARE(addresses.size(), 2);
    InterfaceAddress const eth0 = addresses.value(QStringLiteral("eth0"));
    QCOMPARE(eth0.ipV4, QStringLiteral("192.0.2.40"));
    QCOMPARE(eth0.netmask, QStringLiteral("255.255.255.0"));
    QCOMPARE(eth0.ipV6, QStringLiteral("2001:db8::40"));
    InterfaceAddress const ppp0 = addresses.value(QStringLiteral("ppp0"));
    QCOMPARE(ppp0.ipV4, QStringLiteral("198.51.100.7"));
    QCOMPARE(ppp0.netmask, QString());
    QCOMPARE(ppp0.ipV6, QString());
}

void tst_Stbhost::thisMachineIsTheDefault()
{
    QFile memory(QStringLiteral("/proc/meminfo"));
    if (!memory.open(QIODevice::ReadOnly))
        QSKIP("this machine does not tell its memory in /proc/meminfo");
    QByteArray const total = memory.readLine().simplified().split(' ').value(1);
    QCOMPARE(encoded(Machine().memoryInfo().memTotal.value_or(0)), total);
}

void tst_Stbhost::everyPropertyIsRead_data()
{
    QTest::addColumn<Property>("property");
    auto const metaEnum = QMetaEnum::fromType<Property>();
    for (int i = 0; i < metaEnum.keyCount(); ++i)
        QTest::newRow(metaEnum.key(i)) << static_cast<Property>(metaEnum.value(i));
}

void tst_Stbhost::everyPropertyIsRead()
{
    QFETCH(Property, property);

    QJsonArray const samples = {QStringLiteral("text"),
                                7,
                                true,
                                QJsonArray(),
                                QJsonObject(),
                                QStringLiteral("play"),
                                QStringLiteral("live"),
                                QStringLiteral("auto"),
                                QStringLiteral("VEX")};
    QVariant value;
    bool const isRead = std::any_of(samples.begin(), samples.end(), [&](QJsonValue const &sample) {
        return readProperty(property, sample, value).isEmpty();
    });
    QVERIFY(isRead);
    QVERIFY(value.isValid());

    // Nothing takes a null, and nothing is made of it.
    QVERIFY(!readProperty(property, QJsonValue::Null, value).isEmpty());
}

void tst_Stbhost::recordsComeOutAsTheyWentIn_data()
{
    QTest::addColumn<QByteArray>("event");
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QByteArray>("json");

    struct Row
    {
        char const *property;
        char const *event;
        char const *json;
    };
    // clang-format off
    static Row const rows[] = {
        {"BufferingInfo",      "sqm_metrics",      R"({"buffering_events":1,"buffering_seconds":2,"buffering_ms":2500})"},
        {"Channel",            "playback_start",   R"({"channel_id":7,"program_id":9007199254740991})"},
        {"CpuInfo",            "sqm_metrics",      R"({"cpu_temperature":-32768,"cpu_average_load":2,"cpu_max_load":3,"cpu_cores":4,"sys_clock_freq_mhz":32767})"},
        {"Dash",               "sqm_metrics",      R"({"dash_profile_switches":1,"dash_playlist_errors":2,"dash_segment_errors":3})"},
        {"Decoder",            "sqm_metrics",      R"({"video_frames_decoded":1,"video_decode_errors":2,"video_data_errors":3,"audio_frames_decoded":4,"audio_decode_errors":5,"audio_data_errors":6})"},
        {"Endpoints",          "discover",         R"({"api_url":"a","ws_url":"b","spy_url":"c","img_url":"d","proxy_url":"e"})"},
        {"Etr290",             "sqm_metrics",      R"({"first_priority":{"ts_sync_loss":1,"sync_byte_error":2,"pat_error":3,"continuity_count_error":4,"pmt_error":5,"pid_error":6},"extra_counters":{"cc_error_video":7,"cc_error_audio":8,"pid_error_video":9,"pid_error_audio":10,"pid_error_subtitles":11,"pid_error_teletext":12,"pid_error_ecm":13}})"},
        {"HdmiInfo",           "system_boot",      R"({"tv_name":"a","tv_preferred_output":"b","stb_current_output":"c"})"},
        {"Hls",                "sqm_metrics",      R"({"hls_profile_switches":1,"hls_master_playlist_errors":2,"hls_media_playlist_errors":3,"hls_media_segment_errors":4,"hls_discontinuities":5})"},
        {"HttpError",          "kivo_error",       R"({"http_request_method":"GET","http_request_uri":"b","http_response_code":404})"},
        {"HwInfo",             "system_boot",      R"({"manufacturer":"a","model_name":"b","platform":"c","hw_revision":"d","memory":[{"mem_type":"e","mem_size":4294967295,"mem_info":"f"},{"mem_type":"g"}]})"},
        {"Mdi",                "sqm_metrics",      R"({"mlr":1,"df":2})"},
        {"MediaInfo",          "sqm_metrics",      R"({"video_codec":"a","audio_codec":"b","video_scan_type":"c","audio_channels":1,"video_width":2,"video_height":3,"video_frame_rate":23.5})"},
        {"MediaItem",          "playback_start",   R"({"media_item_id":1,"asset_id":2})"},
        {"MemoryInfo",         "sqm_metrics",      R"({"mem_total":1,"mem_average_usage":2,"mem_max_usage":3,"avmem_average_usage":4,"avmem_max_usage":5,"vm_size":4294967295,"vm_rss":7,"vm_rss_max":8})"},
        {"MessageTarget",      "message_shown",    R"({"type":"a","title":"b","link":{"id":1,"category_id":2,"collection_id":3,"genre_id":4,"channel_id":5,"nc_channel_id":6,"program_id":7,"epg_id":8,"original_id":9,"screen_name":"c","content_type":"d","media_item_type":"e","name":"f","type_id":10,"tab_id":11,"theme_id":12,"url":"g","alias":"h"}})"},
        {"NcError",            "kivo_error",       R"({"api_url":"a","http_request_method":"b","http_request_path":"c","http_request_query":[{"d":"e"},{"d":"f"}],"debug_message":"g","http_response_code":500,"error_code":-2})"},
        {"NetworkInfo",        "sqm_metrics",      R"({"interface_name":"a","interface_mode":"b","mac":"c","speed_mbps":1,"duplex":"d","bitrate_kbps":2,"statistics":{"rx_errors":3,"tx_errors":4,"rx_dropped":5,"tx_dropped":6,"rx_crc_errors":7,"rx_frame_errors":8}})"},
        {"NetworkInterfaces",  "system_boot",      R"([{"interface_name":"a","status":"b","mac":"c","interface_mode":"d","ip_v4":"e","netmask":"f","gateway":"g","ip_v6":"h","dhcp_options":[{"code":-1,"value":"i"},{"code":2}],"dns":["j","k"]},{"interface_name":"l"}])"},
        {"PowerInfo",          "system_status",    R"({"power_state":"a","power_state_period":1,"power_change_cause":"b"})"},
        {"PurchaseVariant",    "purchase_request", R"({"service_id":1,"content_id":2,"content_type":"a","currency":"b","purchase_cost":3,"usage_model":"c","type":"d","price_id":4,"composite_component_id":5})"},
        {"PurchaseVariants",   "purchase_options", R"([{"service_id":1,"usage_model":"a"},{"service_id":2,"usage_model":""}])"},
        {"Scte35",             "playback_ad",      R"({"splice_event_id":1,"splice_pts_time":2})"},
        {"SystemSettings",     "system_boot",      R"({"ui_resolution":"a","font_size":"b","rcu_layout":"c","audio_level":-5,"audio_mute":"d","audio_downmix":"e","video_outputs":[{"output_name":"f","output_mode":"g"},{"output_name":"h"}],"background_radio_playback":"i","background_tv_playback":"j","promo_banner_playback":"k","content_card_playback":"l"})"},
        {"VerimatrixCasError", "playback_error",   R"({"command":"a","error_code":-1,"activity_code":2,"module_code":3,"error_count":4})"},
        {"VerimatrixDrmError", "playback_error",   R"({"command":"a","error_code":-1,"activity_code":2,"module_code":3,"error_count":4})"},
        {"VmxErrors",          "sqm_metrics",      R"({"total_error_count":1,"vmx_cas_errors":[{"command":"a","error_code":2},{"command":"b","error_code":3}]})"},
        {"WifiInfo",           "system_boot",      R"({"wifi_ssid":"a","wifi_bssid":"b","wifi_rssi":-128,"wifi_freq_mhz":65535,"wifi_speed_mbps":4294967295,"wifi_generation":"c"})"},
    };
    // clang-format on
    for (Row const &row : rows)
        QTest::newRow(row.property) << QByteArray(row.event) << QByteArray(row.property) << QByteArray(row.json);
}

void tst_Stbhost::recordsComeOutAsTheyWentIn()
{
    QFETCH(QByteArray, event);
    QFETCH(QByteArray, property);
    QFETCH(QByteArray, json);

    QByteArray messages;
    QByteArray const output = played(R"({"event":")" + event + R"(","priority":"medium","time":1,"values":{")"
                                         + property + R"(":)" + json + "}}",
                                     &messages);
    QCOMPARE(messages, QByteArray());
    QJsonValue const value = eventsOf(output).value(1).value(QString::fromLatin1(keyOf(property)));
    QVERIFY(!value.isUndefined());
    QCOMPARE(QJsonArray{value}, QJsonDocument::fromJson('[' + json + ']').array());
}

void tst_Stbhost::plainValues_data()
{
    QTest::addColumn<Property>("property");
    QTest::addColumn<QByteArray>("json");

    // clang-format off
    QTest::newRow("text")            << Property::Query                  << QByteArray(R"("a \"sea\" of ö")");
    QTest::newRow("integer")         << Property::Offset                 << QByteArray("9007199254740991");
    QTest::newRow("negative")        << Property::ClockContinuityGap     << QByteArray("-3");
    QTest::newRow("number")          << Property::PlaybackTrickModeSpeed << QByteArray("-0.5");
    QTest::newRow("flag")            << Property::DemoMode               << QByteArray("false");
    QTest::newRow("list of text")    << Property::PlaybackUrlsList       << QByteArray(R"(["a","b"])");
    QTest::newRow("MediaType")       << Property::MediaType              << QByteArray(R"("splash_screen")");
    QTest::newRow("PlaybackState")   << Property::PlaybackState          << QByteArray(R"("ff")");
    QTest::newRow("RestoreReason")   << Property::RestoreReason          << QByteArray(R"("user")");
    QTest::newRow("WidgetName")      << Property::WidgetName             << QByteArray(R"("LU")");
    QTest::newRow("plain object")    << Property::MediaBlock             << QByteArray(R"({"id":1,"items":[{"id":2.5},null,"a"]})");
    QTest::newRow("plain list")      << Property::Elements               << QByteArray(R"([1,"a",{"b":[true]}])");
    QTest::newRow("identifier")      << Property::ContentId              << QByteArray("40378");
    QTest::newRow("named identifier") << Property::ContentId             << QByteArray(R"("c-40378")");
    // clang-format on
}

void tst_Stbhost::plainValues()
{
    QFETCH(Property, property);
    QFETCH(QByteArray, json);

    QVariant value;
    QCOMPARE(readProperty(property, QJsonDocument::fromJson('[' + json + ']').array().at(0), value), QString());
    QCOMPARE(encoded(value), json);
}

void tst_Stbhost::eventBringsItsIdentity()
{
    Machine machine = fixtureMachine();
    PropertyProvider const provider(machine);
    AnalyticsEventData data;
    data.type = EventType::PlaybackTrickModeResume;
    data.time = std::chrono::milliseconds(1790000000123);
    data.tag = 17;
    data.value
        = QVariant::fromValue(Payload{QUuid::fromString(QLatin1String("67c8770b-44f1-410a-ab9a-f9b5446f13ee")), {}});

    QCOMPARE(encoded(provider.value(Property::EventId, data)),
             R"("playback_trickmode_resume/67c8770b-44f1-410a-ab9a-f9b5446f13ee")");
    QCOMPARE(encoded(provider.value(Property::EventVersion, data)), "1");
    QCOMPARE(encoded(provider.value(Property::EventCounter, data)), "17");
    QCOMPARE(encoded(provider.value(Property::Timestamp, data)), "1790000000123");

    QMap<int, QJsonObject> const events = eventsOf(played(mediumLine + '\n' + mediumLine));
    QCOMPARE(events.keys(), QList<int>({1, 2}));
    QString const first = events.value(1).value(QLatin1String("event_id")).toString();
    QVERIFY(first.startsWith(QLatin1String("search_result/")));
    QVERIFY(!QUuid::fromString(first.mid(14)).isNull());
    QVERIFY(first != events.value(2).value(QLatin1String("event_id")).toString());
}

void tst_Stbhost::payloadWinsOverMachine()
{
    QByteArray const output = played(R"({"event":"system_status","priority":"medium","time":1,"values":)"
                                     R"({"SystemUptime":5,"SerialNumber":"","MacAddress":"02:00:5e:00:00:01"}})");
    QJsonObject const event = eventsOf(output).value(1);
    QCOMPARE(event.value(QLatin1String("system_uptime")), QJsonValue(5));
    QVERIFY(!event.contains(QLatin1String("serial_number")));
    QCOMPARE(event.value(QLatin1String("mac_address")), QJsonValue(QStringLiteral("02:00:5e:00:00:01")));
}

void tst_Stbhost::badLine_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("reason");

    auto const row = [](char const *name, QByteArray const &line, QByteArray const &reason) {
        QTest::newRow(name) << line << reason;
    };
    auto const value = [](char const *name, QByteArray const &values, QByteArray const &reason) {
        QTest::newRow(name) << R"({"event":"sqm_metrics","priority":"medium","time":1,"values":)" + values + '}'
                            << reason;
    };
    // clang-format off
    row("not JSON",            R"({"event":nope})",                                               "not JSON: illegal value near column 11");
    row("cut off",             R"({"event":"discover")",                                          "not JSON: unterminated object near column 20");
    row("not an object",       R"(["discover"])",                                                 "not a JSON object");
    row("unknown member",      R"({"event":"discover","priority":"low","time":1,"value":{}})",    "value: unknown field");
    row("no event",            R"({"priority":"low","time":1})",                                  "event is missing");
    row("no priority",         R"({"event":"discover","time":1})",                                "priority is missing");
    row("no time",             R"({"event":"discover","priority":"low"})",                        "time is missing");
    row("unknown event",       R"({"event":"playback_begin","priority":"low","time":1})",         R"(event: expected the name of an event, got "playback_begin")");
    row("event as enumerator", R"({"event":"Discover","priority":"low","time":1})",               R"(event: expected the name of an event, got "Discover")");
    row("no such event",       R"({"event":"invalid","priority":"low","time":1})",                R"(event: expected the name of an event, got "invalid")");
    row("event as number",     R"({"event":1,"priority":"low","time":1})",                        "event: expected the name of an event, got 1");
    row("trick mode in words", R"({"event":"playback_trick_mode","priority":"low","time":1})",    R"(event: expected the name of an event, got "playback_trick_mode")");
    row("unknown priority",    R"({"event":"discover","priority":"urgent","time":1})",            R"(priority: expected low, medium or high, got "urgent")");
    row("time as text",        R"({"event":"discover","priority":"low","time":"1"})",             R"(time: expected an integer, got "1")");
    row("broken time",         R"({"event":"discover","priority":"low","time":1.5})",             "time: expected an integer, got 1.5");
    row("time beyond 64 bits", R"({"event":"discover","priority":"low","time":1e19})",            "time: expected an integer, got 1e+19");
    row("values as list",      R"({"event":"discover","priority":"low","time":1,"values":[]})",   "values: expected an object, got an array");

    value("unknown property",  R"({"Chanel":{}})",                                       "values.Chanel: unknown property");
    value("two-line property", R"({"a\nb":1})",                                          "values.a b: unknown property");
    value("key as property",   R"({"media_type":"live"})",                               "values.media_type: unknown property");
    value("property in full",  R"({"analytics::San":"7"})",                              "values.analytics::San: unknown property");
    value("number for text",   R"({"San":7})",                                           "values.San: expected a string, got 7");
    value("text for integer",  R"({"Interval":"7"})",                                    R"(values.Interval: expected an integer, got "7")");
    value("null",              R"({"San":null})",                                        "values.San: expected a string, got null");
    value("unknown word",      R"({"MediaType":"tv"})",                                  R"(values.MediaType: expected one of ad, archive, file, live, pause_live, promo, saved_epg, saved_vod, screensaver, splash_screen, unknown, vod, got "tv")");
    value("widget in lower case", R"({"WidgetName":"lu"})",                              R"(values.WidgetName: expected one of DAP, LU, unknown, VEX, got "lu")");
    value("state in words",    R"({"PlaybackState":"rewind"})",                          R"(values.PlaybackState: expected one of error, ff, pause, play, rw, stop, got "rewind")");
    value("record as number",  R"({"Channel":7})",                                       "values.Channel: expected an object, got 7");
    value("unknown field",     R"({"Channel":{"channel":7}})",                           "values.Channel.channel: unknown field");
    value("text in record",    R"({"Channel":{"channel_id":"7"}})",                      R"(values.Channel.channel_id: expected an integer, got "7")");
    value("number in record",  R"({"MediaInfo":{"video_codec":264}})",                   "values.MediaInfo.video_codec: expected a string, got 264");
    value("text as frequency", R"({"MediaInfo":{"video_frame_rate":"25"}})",             R"(values.MediaInfo.video_frame_rate: expected a number, got "25")");
    value("too large a float", R"({"MediaInfo":{"video_frame_rate":1e39}})",             "values.MediaInfo.video_frame_rate: expected a number, got 1e+39");
    value("too low a float",   R"({"MediaInfo":{"video_frame_rate":-1e39}})",            "values.MediaInfo.video_frame_rate: expected a number, got -1e+39");
    value("fraction",          R"({"Channel":{"channel_id":7.5}})",                      "values.Channel.channel_id: expected an integer, got 7.5");
    value("8 bits",            R"({"WifiInfo":{"wifi_rssi":-129}})",                     "values.WifiInfo.wifi_rssi: expected an integer from -128 to 127, got -129");
    value("16 bits",           R"({"WifiInfo":{"wifi_freq_mhz":65536}})",                "values.WifiInfo.wifi_freq_mhz: expected an integer from 0 to 65535, got 65536");
    value("32 bits",           R"({"MemoryInfo":{"vm_size":-1}})",                       "values.MemoryInfo.vm_size: expected an integer from 0 to 4294967295, got -1");
    value("64 bits",           R"({"Mdi":{"df":-1}})",                                   "values.Mdi.df: expected an integer from 0, got -1");
    value("nested",            R"({"NetworkInfo":{"statistics":{"rx_errors":true}}})",   "values.NetworkInfo.statistics.rx_errors: expected an integer from 0 to 4294967295, got true");
    value("not nested",        R"({"NetworkInfo":{"rx_errors":1}})",                     "values.NetworkInfo.rx_errors: unknown field");
    value("nested as number",  R"({"Etr290":{"first_priority":1}})",                     "values.Etr290.first_priority: expected an object, got 1");
    value("in a list",         R"({"VmxErrors":{"vmx_cas_errors":[{},{"command":1}]}})", "values.VmxErrors.vmx_cas_errors[1].command: expected a string, got 1");
    value("list of records",   R"({"NetworkInterfaces":[{"dns":["a",1]}]})",             "values.NetworkInterfaces[0].dns[1]: expected a string, got 1");
    value("object for list",   R"({"NetworkInterfaces":{}})",                            "values.NetworkInterfaces: expected an array, got an object");
    value("list of text",      R"({"PlaybackUrlsList":["a",7]})",                        "values.PlaybackUrlsList[1]: expected a string, got 7");
    value("flag as text",      R"({"DemoMode":"yes"})",                                  R"(values.DemoMode: expected true or false, got "yes")");
    value("number as text",    R"({"PlaybackTrickModeSpeed":"8x"})",                     R"(values.PlaybackTrickModeSpeed: expected a number, got "8x")");
    value("nothing",           R"({"Target":null})",                                     "values.Target: expected a value, got null");
    value("query of numbers",  R"({"NcError":{"http_request_query":[{"id":7}]}})",       "values.NcError.http_request_query[0]: expected an object of one string");
    value("query of two",      R"({"NcError":{"http_request_query":[{"id":"7","a":"b"}]}})", "values.NcError.http_request_query[0]: expected an object of one string");
    value("query as object",   R"({"NcError":{"http_request_query":{"id":"7"}}})",       "values.NcError.http_request_query: expected an array, got an object");
    value("video outputs",     R"({"SystemSettings":{"video_outputs":[{"name":"a"}]}})", "values.SystemSettings.video_outputs[0].name: unknown field");
    // clang-format on
}

void tst_Stbhost::badLine()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, reason);

    Run const result = run({}, mediumLine + "\n\n" + line + '\n' + mediumLine + '\n');
    QCOMPARE(result.errors, "<stdin>:3: " + reason + '\n');
    QCOMPARE(eventsOf(result.output).keys(), QList<int>({1, 2}));
    QCOMPARE(result.exitCode, 1);
}

void tst_Stbhost::optionsAreRead()
{
    using namespace std::chrono_literals;
    auto const words = [](char const *line) { return QString::fromLatin1(line).split(QLatin1Char(' ')); };

    Options local;
    QCOMPARE(readOptions(words("stbhost"), local), QString());
    QCOMPARE(local.scripts, QStringList(QStringLiteral("-")));
    QVERIFY(!local.isLive);
    QVERIFY(!local.isQuiet);
    QVERIFY(!local.isEchoed);
    QVERIFY(!local.delivery);
    QCOMPARE(local.box, QString());
    QVERIFY(local.pace == 0ms);

    Options usual;
    QCOMPARE(readOptions(words("stbhost --live --spool s --collector http://c"), usual), QString());
    QVERIFY(usual.isLive);
    QVERIFY(usual.interval == 10s);
    QVERIFY(!usual.count);
    QVERIFY(usual.flush == 60s);
    QVERIFY(usual.linger == 5s);
    QVERIFY(usual.delivery);
    QCOMPARE(usual.delivery->folder, QStringLiteral("s"));
    QCOMPARE(usual.delivery->link.url, QUrl(QStringLiteral("http://c")));
    QVERIFY(usual.delivery->link.timeout == 30s);
    QVERIFY(!usual.delivery->link.isCompressed);
    QCOMPARE(usual.delivery->link.caFile, QString());
    QCOMPARE(usual.delivery->spool.bytes, 20'000'000);
    QVERIFY(usual.delivery->spool.age == 604'800s);
    QCOMPARE(usual.delivery->batchBytes, 262'144);
    QVERIFY(usual.delivery->backoff.first == 5s);
    QVERIFY(usual.delivery->backoff.most == 900s);
    QVERIFY(usual.delivery->backoff.spread == 60s);

    Options least;
    QCOMPARE(readOptions(words("stbhost --live --interval 0.001 --count 1 --box b --quiet --collector http://c:1/d"
                               " --spool s --quota 10000 --max-age 1 --batch 1 --gzip --timeout 0.001"
                               " --backoff 0.001,0.001 --spread 0 --flush 0.001 --linger 0 --echo"),
                         least),
             QString());
    QVERIFY(least.interval == 1ms);
    QCOMPARE(least.count, std::optional(1));
    QCOMPARE(least.box, QStringLiteral("b"));
    QVERIFY(least.isQuiet);
    QVERIFY(least.isEchoed);
    QVERIFY(least.flush == 1ms);
    QVERIFY(least.linger == 0ms);
    QCOMPARE(least.delivery->link.url, QUrl(QStringLiteral("http://c:1/d")));
    QVERIFY(least.delivery->link.timeout == 1ms);
    QVERIFY(least.delivery->link.isCompressed);
    QCOMPARE(least.delivery->spool.bytes, 10'000);
    QVERIFY(least.delivery->spool.age == 1s);
    QCOMPARE(least.delivery->batchBytes, 1);
    QVERIFY(least.delivery->backoff.first == 1ms);
    QVERIFY(least.delivery->backoff.most == 1ms);
    QVERIFY(least.delivery->backoff.spread == 0ms);

    Options most;
    QCOMPARE(readOptions(words("stbhost -q --pace 2147483 a -"), most), QString());
    QVERIFY(most.isQuiet);
    QVERIFY(most.pace == 2'147'483s);
    QCOMPARE(most.scripts, (QStringList{QStringLiteral("a"), QStringLiteral("-")}));
}

void tst_Stbhost::commandLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QList<int>>("events");
    QTest::addColumn<QByteArray>("errors");

    auto const row = [](QByteArray const &name, QByteArray const &arguments, QByteArray const &input, int exitCode,
                        QList<int> const &events, QByteArray const &errors) {
        QTest::newRow(name.constData()) << QString::fromLatin1(arguments).split(QLatin1Char(' '), Qt::SkipEmptyParts)
                                        << input << exitCode << events << errors;
    };
    // clang-format off
    row("empty script",       "",                    "",                              0, {},     "");
    row("blank script",       "",                    "\n \t\r\n\n",                   0, {},     "");
    row("no final newline",   "",                    mediumLine,                      0, {1},    "");
    row("CRLF",               "",                    mediumLine + "\r\n",             0, {1},    "");
    row("-",                  "-",                   mediumLine,                      0, {1},    "");
    row("pace 0",             "--pace 0",            mediumLine + '\n' + mediumLine, 0, {1, 2}, "");
    row("no values",          "",                    lowLine + '\n' + mediumLine,     0, {1, 2}, "");
    row("pending",            "",                    mediumLine + '\n' + lowLine + '\n' + lowLine, 0, {1}, "stbhost: 2 low-priority events are lost: only an event of medium priority sends them\n");
    row("pending one",        "",                    lowLine + '\n' + highLine,       0, {2},    "stbhost: 1 low-priority event is lost: only an event of medium priority sends it\n");
    row("not carried",        "",                    R"({"event":"kivo_auth","priority":"medium","time":1,"values":{"Query":"a","AuthMode":"b","Pin":true}})",
                                                                                      1, {1},    "<stdin>:1: values.Pin: not carried by kivo_auth, left out\n<stdin>:1: values.Query: not carried by kivo_auth, left out\n");
    row("carried before",     "",                    mediumLine + '\n' + R"({"event":"kivo_auth","priority":"medium","time":1,"values":{"Query":"a"}})",
                                                                                      1, {1, 2}, "<stdin>:2: values.Query: not carried by kivo_auth, left out\n");
    row("missing file",       "none.jsonl -",        mediumLine,                      1, {1},    "none.jsonl: No such file or directory\n");
    row("live and script",    "--live a.jsonl",      "",                              1, {},     "stbhost: --live takes no scripts\n");
    row("interval, not live", "--interval 1",        "",                              1, {},     "stbhost: --interval and --count need --live\n");
    row("count, not live",    "--count 1",           "",                              1, {},     "stbhost: --interval and --count need --live\n");
    row("two faults",         "--live --interval 0 --count 0", "",                     1, {},     "stbhost: --interval: expected a number of seconds from 0.001 to 2147483, got 0\n");
    row("pace",               "--pace -1",           "",                              1, {},     "stbhost: --pace: expected a number of seconds from 0 to 2147483, got -1\n");
    for (char const *option : {"--spool s", "--quota 20000", "--max-age 1", "--batch 1", "--gzip", "--ca f", "--timeout 1", "--backoff 1,2", "--spread 1", "--flush 1", "--linger 1", "--echo"})
        row(QByteArray(option) + ", no collector", option, "", 1, {},
            "stbhost: " + QByteArray(option).split(' ').first() + " needs --collector\n");
    row("no spool",           "--collector http://c", "",                             1, {},     "stbhost: --collector needs --spool\n");
    for (char const *url : {"c", "ftp://c/", "http://", "http:///packages", "https:", "http://c:99999/", "http://c:0/", "http://c/%zz"})
        row(QByteArray("URL ") + url, QByteArray("--spool s --collector ") + url, "", 1, {},
            QByteArray("stbhost: --collector ") + url + ": expected http:// or https:// and a host\n");
    row("URL, password",      "--spool s --collector ftp://box:secret@c/", "",        1, {},     "stbhost: --collector ftp://***@c/: expected http:// or https:// and a host\n");
    row("URL, password with an @", "--spool s --collector http://box:se@cret@c:0/", "", 1, {}, "stbhost: --collector http://***@c:0/: expected http:// or https:// and a host\n");
    row("URL, no scheme, password", "--spool s --collector box:secret@c", "",         1, {},     "stbhost: --collector ***@c: expected http:// or https:// and a host\n");
    row("empty quota",        "--spool s --collector http://c --quota=", "",         1, {},     "stbhost: --quota: expected a number of bytes from 10000, got\n");
    row("empty spread",       "--spool s --collector http://c --spread=", "",        1, {},     "stbhost: --spread: expected a number of seconds from 0 to 2147483, got\n");
    row("empty backoff",      "--spool s --collector http://c --backoff=", "",       1, {},     "stbhost: --backoff: expected two numbers of seconds, the smaller one first, such as 5,900, got\n");
    row("empty ca",           "--spool s --collector http://c --ca=", "",            1, {},     "stbhost: --ca: expected a file, got nothing\n");
    row("quota",              "--spool s --collector http://c --quota 0", "",         1, {},     "stbhost: --quota: expected a number of bytes from 10000, got 0\n");
    row("age",                "--spool s --collector http://c --max-age 0", "",       1, {},     "stbhost: --max-age: expected a number of seconds from 1, got 0\n");
    row("batch",              "--spool s --collector http://c --batch 0", "",         1, {},     "stbhost: --batch: expected a number of bytes from 1, got 0\n");
    for (char const *backoff : {"1", "0,1", "2,1", "1,2,3", "a,b"})
        row(QByteArray("backoff ") + backoff, QByteArray("--spool s --collector http://c --backoff ") + backoff, "", 1, {},
            QByteArray("stbhost: --backoff: expected two numbers of seconds, the smaller one first, such as 5,900, got ") + backoff + '\n');
    row("ca",                 "--spool s --collector https://c --ca none.pem", "",    1, {},     "stbhost: --collector https://c: none.pem: No such file or directory\n");
    row("spool",              "--spool " STBHOST_EVENING " --collector http://c", "", 1, {},     "stbhost: --spool " STBHOST_EVENING ": Not a directory\n");
    for (char const *interval : {"0", "-1", "soon", "nan", "inf", "0.0001", "2147484"})
        row(QByteArray("interval ") + interval, QByteArray("--live --interval ") + interval, "", 1, {},
            QByteArray("stbhost: --interval: expected a number of seconds from 0.001 to 2147483, got ") + interval + '\n');
    for (char const *count : {"0", "-1", "1.5", "many"})
        row(QByteArray("count ") + count, QByteArray("--live --count ") + count, "", 1, {},
            QByteArray("stbhost: --count: expected a number from 1, got ") + count + '\n');
    // clang-format on
}

void tst_Stbhost::commandLine()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, input);
    QFETCH(int, exitCode);
    QFETCH(QList<int>, events);
    QFETCH(QByteArray, errors);

    Run const result = run(arguments, input);
    QCOMPARE(result.errors, errors);
    QCOMPARE(eventsOf(result.output).keys(), events);
    QCOMPARE(result.exitCode, exitCode);
}

void tst_Stbhost::boxIsNamed()
{
    QByteArray const own = R"({"event":"search_result","priority":"medium","time":5,"values":{"Uid":"own"}})";
    Run const result = run({QStringLiteral("--box"), QStringLiteral("box 1")}, mediumLine + '\n' + own);
    QCOMPARE(result.errors, QByteArray());
    QMap<int, QJsonObject> const events = eventsOf(result.output);
    QCOMPARE(events.value(1).value(QLatin1String("uid")), QJsonValue(QStringLiteral("box 1")));
    QCOMPARE(events.value(2).value(QLatin1String("uid")), QJsonValue(QStringLiteral("own")));
}

void tst_Stbhost::standbyFlushes()
{
    QByteArray const standby
        = R"({"event":"system_status","priority":"low","time":7,"values":{"PowerInfo":{"power_state":"standby"}}})";
    Run const result = run({}, lowLine + '\n' + standby + '\n');
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(eventsOf(result.output).keys(), QList<int>({1, 2, 3}));
    QCOMPARE(result.output.count('\n'), 1);
    QVERIFY(eventsOf(result.output)
                .value(3)
                .value(QLatin1String("event_id"))
                .toString()
                .startsWith(QLatin1String("system_status/")));
}

void tst_Stbhost::scriptComesInPieces_data()
{
    QTest::addColumn<QByteArrayList>("pieces");
    QTest::addColumn<QList<int>>("lengths");

    auto const query = [](int length) {
        return R"({"event":"search_result","priority":"medium","time":5,"values":{"Query":")" + QByteArray(length, 'x')
            + "\"}}";
    };
    auto const inPieces = [](QByteArray const &script, qsizetype size) {
        QByteArrayList pieces;
        for (qsizetype i = 0; i < script.size(); i += size)
            pieces.append(script.mid(i, size));
        return pieces;
    };
    auto const row = [](char const *name, QByteArrayList const &pieces, QList<int> const &lengths) {
        QTest::newRow(name) << pieces << lengths;
    };

    row("lines as they are", {query(1) + '\n', query(2) + '\n'}, {1, 2});
    row("one piece", {query(1) + '\n' + query(2) + '\n'}, {1, 2});
    row("line feed with the second line", {query(1), '\n' + query(2) + '\n'}, {1, 2});
    row("line feed alone", {query(1), "\n", query(2), "\n"}, {1, 2});
    row("half a line more", {query(1) + '\n' + query(2).left(20), query(2).mid(20) + '\n'}, {1, 2});
    row("no line feed at the end", {query(1) + '\n' + query(2).left(20), query(2).mid(20)}, {1, 2});
    row("bytes", inPieces(query(1) + '\n' + query(2) + '\n', 1), {1, 2});
    // The framework asks for no more than 16384 bytes at once.
    row("long lines", inPieces(query(20000) + '\n' + query(20001) + '\n', 10000), {20000, 20001});
    int const length = 16384 - int(query(0).size());
    row("line of as many bytes", inPieces(query(length) + '\n' + query(1) + '\n', 8000), {length, 1});
    row("line of as many bytes with its line feed", inPieces(query(length - 1) + '\n' + query(1) + '\n', 8000),
        {length - 1, 1});
}

/// Each piece comes when all before it has been read.
void tst_Stbhost::scriptComesInPieces()
{
    QFETCH(QByteArrayList, pieces);
    QFETCH(QList<int>, lengths);

    OwnInput ownInput;
    StopSignal const stop;
    StoppableInput input(stop, [&] {
        if (pieces.isEmpty())
            ownInput.end();
        else
            ownInput.write(pieces.takeFirst());
        return true;
    });
    QByteArray messages;
    QMap<int, QJsonObject> const events = eventsOf(played(input, &messages));

    QCOMPARE(messages, QByteArray());
    QList<int> found;
    for (QJsonObject const &event : events)
        found.append(int(event.value(QLatin1String("query")).toString().size()));
    QCOMPARE(found, lengths);
}

void tst_Stbhost::inputIsReadByBytesToo()
{
    OwnInput ownInput;
    StopSignal const stop;
    StoppableInput input(stop, [] { return true; });
    QVERIFY(input.isSequential());
    QVERIFY(input.open(QIODevice::ReadWrite));
    ownInput.write("ab\nc");
    QCOMPARE(input.read(1), QByteArray("a"));
    ownInput.write("d\nef");
    ownInput.end();
    QCOMPARE(input.readLine(), QByteArray("b\n"));
    QCOMPARE(input.readLine(), QByteArray("cd\n"));
    QCOMPARE(input.read(2), QByteArray("ef"));
    QCOMPARE(input.read(1), QByteArray());
    QCOMPARE(input.write("g"), -1);
}

void tst_Stbhost::inputKeepsToTheRoom()
{
    OwnInput ownInput;
    StopSignal const stop;
    StoppableInput input(stop, [] { return true; });
    QVERIFY(input.open(QIODevice::ReadOnly));
    // Qt puts a NUL behind the line, so that four bytes of five are for the line.
    auto const line = [&] {
        char room[] = "....|....";
        qint64 const length = input.readLine(room, 5);
        return QByteArray::number(length) + ' ' + QByteArray(room, sizeof room - 1);
    };
    ownInput.write("abcdefg\nh");
    QCOMPARE(line(), QByteArray("4 abcd\0....", 11));
    QCOMPARE(line(), QByteArray("4 efg\n\0....", 11));
    ownInput.write("ijkl");
    ownInput.end();
    QCOMPARE(line(), QByteArray("4 hijk\0....", 11));
    QCOMPARE(line(), QByteArray("1 l\0..|....", 11));
    QVERIFY(line().startsWith("-1 "));
}

void tst_Stbhost::inputEndsWhenToldTo()
{
    OwnInput const ownInput;
    StopSignal const stop;
    int asked = 0;
    StoppableInput input(stop, [&] { return ++asked < 3; });
    QVERIFY(input.open(QIODevice::ReadOnly));
    // Asked once for the line that is there, and twice while nothing comes.
    ownInput.write("a\n");
    QCOMPARE(input.readLine(), QByteArray("a\n"));
    QCOMPARE(input.readLine(), QByteArray());
    QCOMPARE(asked, 3);
}

void tst_Stbhost::stopSignal()
{
    using namespace std::chrono_literals;
    OwnInput const ownInput;
    StopSignal const stop;
    QVERIFY(!stop.arrivesWithin(0ms));
    QVERIFY(!stop.arrivesWithin(-1ms));
    for (int signal : {SIGINT, SIGTERM}) {
        QCOMPARE(raise(signal), 0);
        QVERIFY(stop.arrivesWithin(1h));
        QVERIFY(!stop.arrivesWithin(0ms));
    }
}

void tst_Stbhost::scriptEndsWhenToldTo()
{
    QByteArray script = mediumLine + '\n' + mediumLine + '\n' + mediumLine + '\n';
    QBuffer input(&script);
    QVERIFY(input.open(QIODevice::ReadOnly));
    QBuffer output;
    QVERIFY(output.open(QIODevice::WriteOnly));
    QByteArray text;
    QTextStream messages(&text);
    Machine machine = fixtureMachine();
    LineSender sender(output);
    Host host(machine, sender);
    QVERIFY(playScript(
        input, QStringLiteral("script"), host, [&] { return host.events() < 2; }, messages));
    QCOMPARE(eventsOf(output.data()).keys(), QList<int>({1, 2}));
}

void tst_Stbhost::scriptEndsOnSignal()
{
    // While it waits for a line, and between two events.
    for (QStringList const &arguments :
         {QStringList(), QStringList{QStringLiteral("--pace"), QStringLiteral("3600")}}) {
        QProcess process;
        process.setProcessEnvironment(environment());
        start(process, arguments);
        process.write(mediumLine + '\n');
        QVERIFY(process.waitForReadyRead());
        process.terminate();
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 0);
    }
}

void tst_Stbhost::scriptFiles()
{
    QTemporaryDir directory;
    QString const first = directory.filePath(QStringLiteral("first.jsonl"));
    QString const second = directory.filePath(QStringLiteral("second.jsonl"));
    writeFile(first, lowLine + "\nno\n");
    writeFile(second, mediumLine);

    Run const result = run({first, second});
    QCOMPARE(result.errors, first.toUtf8() + ":2: not JSON: illegal value near column 1\n");
    QCOMPARE(eventsOf(result.output).keys(), QList<int>({1, 2}));
    QCOMPARE(result.output.count('\n'), 1);
    QCOMPARE(result.exitCode, 1);

    Run const help = run({QStringLiteral("--help")});
    QVERIFY(help.output.startsWith("Usage: "));
    QVERIFY(help.output.contains("--live"));
    QCOMPARE(help.errors, QByteArray());
    QCOMPARE(help.exitCode, 0);

    Run const version = run({QStringLiteral("--version")});
    QVERIFY(version.output.startsWith("stbhost "));
    QCOMPARE(version.exitCode, 0);
}

void tst_Stbhost::highPriorityOvertakes()
{
    QList<QByteArray> const packages = played(lowLine + '\n' + highLine + '\n' + mediumLine).split('\n');
    QCOMPARE(packages.size(), 3);
    QCOMPARE(eventsOf(packages.at(0)).keys(), QList<int>({2}));
    QCOMPARE(eventsOf(packages.at(1)).keys(), QList<int>({1, 3}));
}

void tst_Stbhost::logGoesToStandardError()
{
    Run const shown = run({}, mediumLine, environment(QString()));
    QVERIFY(shown.errors.startsWith("stbanalytics: analytics event prepared: "));
    QCOMPARE(shown.errors.count('\n'), 1);
    QCOMPARE(shown.exitCode, 0);

    for (char const *option : {"-q", "--quiet"}) {
        Run const quiet = run({QLatin1String(option)}, mediumLine, environment(QString()));
        QCOMPARE(quiet.errors, QByteArray());
        QCOMPARE(quiet.exitCode, 0);
    }
}

void tst_Stbhost::closedPipeIsAnError()
{
    QProcess process;
    process.setProcessEnvironment(environment());
    process.setChildProcessModifier([] {
        int ends[2];
        if (pipe(ends) == 0) {
            close(ends[0]);
            dup2(ends[1], STDOUT_FILENO);
        }
    });
    start(process, {});
    process.write(mediumLine + '\n' + mediumLine + '\n');
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.readAllStandardError(), "stbhost: standard output: Broken pipe\n");
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 1);
}

void tst_Stbhost::nothingFollowsAFailure()
{
    FaultyDevice device;
    QVERIFY(device.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    LineSender sender(device);
    sender.send("first", false);
    QCOMPARE(sender.error(), QString());
    sender.send("second", false);
    QCOMPARE(sender.error(), QStringLiteral("no room"));
    sender.send("third", true);
    QCOMPARE(sender.error(), QStringLiteral("no room"));
    QCOMPARE(device.written, QByteArray("first\n"));
}

void tst_Stbhost::eveningTellsEveryEvent()
{
    QList<QJsonObject> const lines = evening();
    Keys told;
    Keys given;
    qint64 before = 0;
    for (QJsonObject const &line : lines) {
        told.insert(eventName(line));
        given += givenKeys(line);
        qint64 const time = line.value(QLatin1String("time")).toInteger();
        QVERIFY2(time > before, QByteArray::number(time).constData());
        before = time;
    }
    QVERIFY2(eventKeys.size() == size_t(eventTypeCount), "eventKeys: a row for each type of event");
    for (auto const &[name, keys] : eventKeys)
        QVERIFY2(told.contains(name), name.constData());
    Keys const records
        = keysOf("buffering channel dash decoder endpoints etr290 hdmi_info hls http_error mdi media_info media_item "
                 "target nc_error power_info purchase_variant purchase_variants scte35 system_settings vmx_cas_error "
                 "vmx_drm_error vmx_errors");
    QVERIFY(given.contains(records));
    // What the machine itself knows is left to it.
    QVERIFY(!given.intersects(machineKeys));
    QCOMPARE(lines.last().value(QLatin1String("priority")), QJsonValue(QStringLiteral("medium")));
}

void tst_Stbhost::eveningOnFixture()
{
    QFile file(QStringLiteral(STBHOST_EVENING));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QByteArray messages;
    QMap<int, QJsonObject> const events = eventsOf(played(file.readAll(), &messages));
    QCOMPARE(messages, QByteArray());

    QList<QJsonObject> const lines = evening();
    QCOMPARE(events.size(), lines.size());
    for (auto it = events.begin(); it != events.end(); ++it) {
        QJsonObject const line = lines.value(it.key() - 1);
        Keys const row = keysOf(eventKeys.at(eventName(line)));
        Keys const expectedKeys = genericKeys + (row & (givenKeys(line) + machineKeys));
        QVERIFY2(presentKeys(*it) == expectedKeys, QJsonDocument(*it).toJson().constData());
    }
}

void tst_Stbhost::eveningOnThisMachine()
{
    Run const result = run({QStringLiteral(STBHOST_EVENING)});
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.exitCode, 0);

    QMap<int, QJsonObject> const events = eventsOf(result.output);
    QList<QJsonObject> const lines = evening();
    QCOMPARE(events.size(), lines.size());
    for (auto it = events.begin(); it != events.end(); ++it) {
        QJsonObject const line = lines.value(it.key() - 1);
        QByteArray const text = QJsonDocument(*it).toJson();
        Keys const present = presentKeys(*it);
        Keys const given = givenKeys(line);
        QVERIFY2((genericKeys + keysOf(eventKeys.at(eventName(line)))).contains(present), text.constData());
        QVERIFY2(present.contains(given), text.constData());
        QVERIFY2((genericKeys + machineKeys).contains(present - given), text.constData());
        QVERIFY2(present.contains(keysOf("event_id event_version event_counter timestamp")), text.constData());
        QCOMPARE(it->value(QLatin1String("timestamp")), line.value(QLatin1String("time")));
    }
}

void tst_Stbhost::live()
{
    Run const result = run({QStringLiteral("--live"), QStringLiteral("--count"), QStringLiteral("2"),
                            QStringLiteral("--interval"), QStringLiteral("0.05")});
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.output.count('\n'), 3);

    QMap<int, QJsonObject> const events = eventsOf(result.output);
    QCOMPARE(events.keys(), QList<int>({1, 2, 3}));
    Keys const statusKeys = presentKeys(events.value(1));
    QVERIFY((genericKeys + keysOf(eventKeys.at("system_status"))).contains(statusKeys));
    QVERIFY(statusKeys.contains("timezone"));
    for (int counter : {2, 3}) {
        QJsonObject const sample = events.value(counter);
        QVERIFY((genericKeys + keysOf(eventKeys.at("sqm_metrics"))).contains(presentKeys(sample)));
        QCOMPARE(sample.value(QLatin1String("interval_ms")), QJsonValue(50));
        QVERIFY(sample.value(QLatin1String("timestamp")).toDouble() > 0);
    }
}

void tst_Stbhost::liveKeepsItsInterval()
{
    using namespace std::chrono_literals;
    QBuffer output;
    QVERIFY(output.open(QIODevice::WriteOnly));
    LineSender sender(output);
    Machine machine = fixtureMachine();
    Host host(machine, sender);
    QList<std::chrono::steady_clock::time_point> times;
    reportLive(host, 50ms, std::nullopt, EventPriority::Low, [&](auto time) {
        times.append(time);
        return times.size() < 4;
    });

    // However long a sample takes, the next one is due on time.
    QCOMPARE(times.size(), 4);
    for (int i = 1; i < 4; ++i)
        QVERIFY(times.at(i) - times.at(i - 1) == 50ms);
    // The status, and then samples that wait for a flush.
    QCOMPARE(eventsOf(output.data()).keys(), QList<int>({1}));
    QCOMPARE(host.events(), 4);
    QCOMPARE(host.pendingEvents(), 3);
}

void tst_Stbhost::liveCountsBeyond32Bits()
{
    QProcess process;
    process.setProcessEnvironment(environment());
    start(process, {QStringLiteral("--live"), QStringLiteral("--count"), QStringLiteral("4294967296")});
    QByteArray output;
    while (output.count('\n') < 2 && process.waitForReadyRead())
        output += process.readAllStandardOutput();
    process.terminate();
    QVERIFY(process.waitForFinished());
    QCOMPARE(output.count('\n'), 2);
}

void tst_Stbhost::liveEndsOnSignal()
{
    QProcess process;
    process.setProcessEnvironment(environment());
    start(process, {QStringLiteral("--live"), QStringLiteral("--interval"), QStringLiteral("3600")});
    QVERIFY(process.waitForReadyRead());
    process.terminate();
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 0);
}

QTEST_GUILESS_MAIN(tst_Stbhost)
#include "tst_stbhost.moc"
