#include <stbhost/machine.h>

#include <QtCore/QCryptographicHash>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QMessageAuthenticationCode>

#include <algorithm>
#include <cmath>
#include <limits>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

namespace stbhost {

using namespace analytics;

static QString const netDirectory = QStringLiteral("sys/class/net/");

static QString addressToText(int family, void const *address)
{
    char text[INET6_ADDRSTRLEN] = {};
    return QString::fromLatin1(inet_ntop(family, address, text, sizeof text));
}

InterfaceAddresses systemAddresses()
{
    InterfaceAddresses addresses;
    ifaddrs *first = nullptr;
    if (getifaddrs(&first) != 0)
        return addresses;

    for (ifaddrs const *it = first; it; it = it->ifa_next) {
        if (!it->ifa_addr)
            continue;
        InterfaceAddress &address = addresses[QString::fromLocal8Bit(it->ifa_name)];
        if (it->ifa_addr->sa_family == AF_INET && address.ipV4.isEmpty()) {
            address.ipV4 = addressToText(AF_INET, &reinterpret_cast<sockaddr_in const *>(it->ifa_addr)->sin_addr);
            if (it->ifa_netmask)
                address.netmask
                    = addressToText(AF_INET, &reinterpret_cast<sockaddr_in const *>(it->ifa_netmask)->sin_addr);
        } else if (it->ifa_addr->sa_family == AF_INET6 && address.ipV6.isEmpty()) {
            address.ipV6 = addressToText(AF_INET6, &reinterpret_cast<sockaddr_in6 const *>(it->ifa_addr)->sin6_addr);
        }
    }
    freeifaddrs(first);
    return addresses;
}

Machine::Machine(QString root, std::function<InterfaceAddresses()> addresses)
    : m_root(std::move(root))
    , m_addresses(std::move(addresses))
{
}

// Files

QByteArray Machine::contents(QString const &path) const
{
    QFile file(m_root + QLatin1Char('/') + path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

QString Machine::text(QString const &path) const
{
    QByteArray value = contents(path);
    // The device tree ends its strings with a NUL, and separates several by one.
    if (qsizetype const end = value.indexOf('\0'); end >= 0)
        value.truncate(end);
    return QString::fromUtf8(value).trimmed();
}

QString Machine::firstText(QStringList const &paths) const
{
    for (QString const &path : paths) {
        QString value = text(path);
        if (!value.isEmpty())
            return value;
    }
    return {};
}

std::optional<qint64> Machine::number(QString const &path) const
{
    bool ok = false;
    qint64 const value = text(path).toLongLong(&ok);
    return ok ? std::optional(value) : std::nullopt;
}

/// The value of a "name: value" or "NAME=value" line; the first one counts.
QString Machine::entry(QString const &path, char separator, QString const &name) const
{
    QList<QByteArray> const lines = contents(path).split('\n');
    for (QByteArray const &line : lines) {
        qsizetype const at = line.indexOf(separator);
        if (at >= 0 && QString::fromUtf8(line.left(at)).trimmed() == name)
            return QString::fromUtf8(line.mid(at + 1)).trimmed();
    }
    return {};
}

std::optional<qint64> Machine::kiloBytes(QString const &path, QString const &name) const
{
    bool ok = false;
    qint64 const value = entry(path, ':', name).section(QLatin1Char(' '), 0, 0).toLongLong(&ok);
    return ok ? std::optional(value) : std::nullopt;
}

QStringList Machine::directories(QString const &path) const
{
    return QDir(m_root + QLatin1Char('/') + path).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
}

// Names

QString Machine::uid() const
{
    QByteArray const machineId = contents(QStringLiteral("etc/machine-id")).trimmed();
    if (machineId.isEmpty())
        return {};

    // The machine's identifier is confidential: what leaves the box must not lead back to it.
    QByteArray const hash
        = QMessageAuthenticationCode::hash("stbhost uid", machineId, QCryptographicHash::Sha256).left(16);
    return QString::fromLatin1(hash.toHex());
}

QString Machine::serialNumber() const
{
    return firstText(
        {QStringLiteral("sys/class/dmi/id/product_serial"), QStringLiteral("proc/device-tree/serial-number")});
}

QString Machine::manufacturer() const
{
    return text(QStringLiteral("sys/class/dmi/id/sys_vendor"));
}

QString Machine::modelName() const
{
    return firstText({QStringLiteral("sys/class/dmi/id/product_name"), QStringLiteral("proc/device-tree/model")});
}

QString Machine::firmwareVersion() const
{
    QString const release = QStringLiteral("etc/os-release");
    for (QString const &name : {QStringLiteral("PRETTY_NAME"), QStringLiteral("VERSION")}) {
        QString value = entry(release, '=', name);
        if (value.size() >= 2 && (value.startsWith(QLatin1Char('"')) || value.startsWith(QLatin1Char('\''))))
            value = value.mid(1, value.size() - 2);
        if (!value.isEmpty())
            return value;
    }
    return {};
}

HardwareInfo Machine::hardwareInfo() const
{
    HardwareInfo info;
    info.manufacturer = manufacturer();
    info.modelName = modelName();
    info.platform = text(QStringLiteral("proc/device-tree/compatible"));
    if (info.platform.isEmpty())
        info.platform = entry(QStringLiteral("proc/cpuinfo"), ':', QStringLiteral("model name"));
    info.hwRevision = text(QStringLiteral("sys/class/dmi/id/product_version"));
    return info;
}

// Processor, memory and outputs

std::optional<qint64> Machine::uptime() const
{
    bool ok = false;
    double const seconds = text(QStringLiteral("proc/uptime")).section(QLatin1Char(' '), 0, 0).toDouble(&ok);
    return ok ? std::optional<qint64>(std::llround(seconds * 1000)) : std::nullopt;
}

/// Of all the sensors of a box only those that name the processor are taken.
std::optional<qint16> Machine::temperature() const
{
    struct Sensors
    {
        QString directory;
        QString name;
        QString value;
    };
    static constexpr char const *processorWords[] = {"cpu", "soc", "x86_pkg", "coretemp", "k10temp"};
    Sensors const places[] = {
        {QStringLiteral("sys/class/thermal/"), QStringLiteral("/type"), QStringLiteral("/temp")},
        {QStringLiteral("sys/class/hwmon/"), QStringLiteral("/name"), QStringLiteral("/temp1_input")},
    };

    for (Sensors const &sensors : places) {
        QStringList const names = directories(sensors.directory);
        for (QString const &name : names) {
            QString const kind = text(sensors.directory + name + sensors.name);
            bool const isProcessor = std::any_of(std::begin(processorWords), std::end(processorWords),
                                                 [&](char const *word) { return kind.contains(QLatin1String(word)); });
            std::optional<qint64> const milliDegrees = number(sensors.directory + name + sensors.value);
            if (isProcessor && milliDegrees)
                return static_cast<qint16>(std::lround(static_cast<double>(*milliDegrees) / 1000));
        }
    }
    return {};
}

std::optional<qint16> Machine::clockMhz() const
{
    if (auto const kiloHertz = number(QStringLiteral("sys/devices/system/cpu/cpu0/cpufreq/scaling_cur_freq")))
        return static_cast<qint16>(*kiloHertz / 1000);

    bool ok = false;
    double const megaHertz = entry(QStringLiteral("proc/cpuinfo"), ':', QStringLiteral("cpu MHz")).toDouble(&ok);
    return ok ? std::optional(static_cast<qint16>(std::lround(megaHertz))) : std::nullopt;
}

/// The ticks of "cpu", which is all cores together, and of each core that is online, since the system booted.
QHash<QString, Machine::Ticks> Machine::ticks() const
{
    QHash<QString, Ticks> result;
    QList<QByteArray> const lines = contents(QStringLiteral("proc/stat")).split('\n');
    for (QByteArray const &line : lines) {
        QList<QByteArray> const words = line.simplified().split(' ');
        // user nice system idle iowait irq softirq steal; the guests' ticks that follow are part of the user's.
        if (!line.startsWith("cpu") || words.size() < 9)
            continue;

        Ticks core;
        for (qsizetype i = 1; i <= 8; ++i)
            core.total += words.at(i).toLongLong();
        core.busy = core.total - words.at(4).toLongLong() - words.at(5).toLongLong();
        result.insert(QString::fromLatin1(words.first()), core);
    }
    return result;
}

CpuInfo Machine::cpuInfo()
{
    QString const allCores = QStringLiteral("cpu");
    QHash<QString, Ticks> const now = ticks();

    // A handful of ticks would make a load of anything from 0 to 100.
    if (now.size() > 1 && now.value(allCores).total - m_ticks.value(allCores).total >= 10 * (now.size() - 1)) {
        m_load = {};
        for (auto it = now.begin(); it != now.end(); ++it) {
            Ticks const before = m_ticks.value(it.key());
            qint64 const total = it->total - before.total;
            if (total <= 0)
                continue;
            // The kernel lets the time of waiting for I/O run backwards now and then.
            qint64 const busy = std::clamp<qint64>(it->busy - before.busy, 0, total);
            auto const percent
                = static_cast<qint16>(std::lround(100.0 * static_cast<double>(busy) / static_cast<double>(total)));
            if (it.key() == allCores)
                m_load.average = percent;
            else
                m_load.highest = std::max(m_load.highest.value_or(0), percent);
        }
        m_ticks = now;
    }

    CpuInfo info;
    info.cpuTemperature = temperature();
    info.cpuAverageLoad = m_load.average;
    info.cpuMaxLoad = m_load.highest;
    if (now.size() > 1)
        info.cpuCores = static_cast<qint16>(now.size() - 1);
    info.sysClockFreqMhz = clockMhz();
    return info;
}

MemoryInfo Machine::memoryInfo()
{
    auto const toInt
        = [](std::optional<qint64> value) { return value ? std::optional(static_cast<int>(*value)) : std::nullopt; };
    QString const system = QStringLiteral("proc/meminfo");
    QString const process = QStringLiteral("proc/self/status");

    MemoryInfo info;
    std::optional<qint64> const total = kiloBytes(system, QStringLiteral("MemTotal"));
    std::optional<qint64> const available = kiloBytes(system, QStringLiteral("MemAvailable"));
    info.memTotal = toInt(total);
    if (total && available) {
        qint64 const used = *total - *available;
        ++m_memoryReadings;
        m_memoryUsageSum += used;
        m_memoryMaxUsage = std::max(m_memoryMaxUsage, used);
        info.memAverageUsage = static_cast<int>(m_memoryUsageSum / m_memoryReadings);
        info.memMaxUsage = static_cast<int>(m_memoryMaxUsage);
    }
    if (auto const size = kiloBytes(process, QStringLiteral("VmSize")))
        info.vmSize = static_cast<quint32>(*size);
    info.vmRss = toInt(kiloBytes(process, QStringLiteral("VmRSS")));
    info.vmRssMax = toInt(kiloBytes(process, QStringLiteral("VmHWM")));
    return info;
}

std::optional<bool> Machine::hdmiStatus() const
{
    std::optional<bool> connected;
    QString const directory = QStringLiteral("sys/class/drm/");
    QStringList const connectors = directories(directory).filter(QStringLiteral("-HDMI-"));
    for (QString const &connector : connectors) {
        QString const status = text(directory + connector + QStringLiteral("/status"));
        if (status == QLatin1String("connected") || status == QLatin1String("disconnected"))
            connected = connected.value_or(false) || status == QLatin1String("connected");
    }
    return connected;
}

// Network

QStringList Machine::interfaceNames() const
{
    QStringList names = directories(netDirectory);
    names.removeOne(QStringLiteral("lo"));
    return names;
}

/// The preferred route first.
QList<Machine::Route> Machine::defaultRoutes() const
{
    QList<Route> routes;
    QList<QByteArray> const lines = contents(QStringLiteral("proc/net/route")).split('\n');
    for (QByteArray const &line : lines) {
        // Iface Destination Gateway Flags RefCnt Use Metric Mask ...
        QList<QByteArray> const columns = line.simplified().split(' ');
        if (columns.size() < 8 || columns.at(1) != "00000000" || columns.at(7) != "00000000")
            continue;

        // The kernel prints the address, which is in network byte order, as if it were a number of its own.
        in_addr const gateway = {columns.at(2).toUInt(nullptr, 16)};
        routes.append({QString::fromLocal8Bit(columns.at(0)),
                       gateway.s_addr != 0 ? addressToText(AF_INET, &gateway) : QString(), columns.at(6).toInt()});
    }
    std::stable_sort(routes.begin(), routes.end(), [](Route const &a, Route const &b) { return a.metric < b.metric; });
    return routes;
}

QStringList Machine::nameServers() const
{
    QStringList servers;
    QList<QByteArray> const lines = contents(QStringLiteral("etc/resolv.conf")).split('\n');
    for (QByteArray const &line : lines) {
        QList<QByteArray> const words = line.simplified().split(' ');
        if (words.size() >= 2 && words.at(0) == "nameserver")
            servers.append(QString::fromLatin1(words.at(1)));
    }
    return servers;
}

QString Machine::activeInterface() const
{
    QList<Route> const routes = defaultRoutes();
    if (!routes.isEmpty())
        return routes.first().interfaceName;

    QStringList const names = interfaceNames();
    for (QString const &name : names) {
        if (text(netDirectory + name + QStringLiteral("/operstate")) == QLatin1String("up"))
            return name;
    }
    return {};
}

QString Machine::macAddress() const
{
    return text(netDirectory + activeInterface() + QStringLiteral("/address"));
}

std::optional<qint64> Machine::linkFaults() const
{
    return number(netDirectory + activeInterface() + QStringLiteral("/carrier_down_count"));
}

std::optional<NetworkInfo> Machine::networkInfo() const
{
    QString const name = activeInterface();
    if (name.isEmpty())
        return {};

    QString const directory = netDirectory + name + QLatin1Char('/');
    // Also keeps out the speed of -1 by which a driver says that it knows none.
    auto const unsignedNumber = [&](QString const &file) {
        std::optional<qint64> const value = number(directory + file);
        return value && *value >= 0 ? std::optional(static_cast<quint32>(*value)) : std::nullopt;
    };

    NetworkInfo info;
    info.interfaceName = name;
    info.mac = text(directory + QStringLiteral("address"));
    info.speedMbps = unsignedNumber(QStringLiteral("speed"));
    if (QString const duplex = text(directory + QStringLiteral("duplex")); duplex != QLatin1String("unknown"))
        info.duplex = duplex;
    info.rxErrors = unsignedNumber(QStringLiteral("statistics/rx_errors"));
    info.txErrors = unsignedNumber(QStringLiteral("statistics/tx_errors"));
    info.rxDropped = unsignedNumber(QStringLiteral("statistics/rx_dropped"));
    info.txDropped = unsignedNumber(QStringLiteral("statistics/tx_dropped"));
    info.rxCrcErrors = unsignedNumber(QStringLiteral("statistics/rx_crc_errors"));
    info.rxFrameErrors = unsignedNumber(QStringLiteral("statistics/rx_frame_errors"));
    return info;
}

QList<NetworkInterface> Machine::networkInterfaces() const
{
    InterfaceAddresses const addresses = m_addresses();
    QList<Route> const routes = defaultRoutes();
    QString const active = activeInterface();

    QList<NetworkInterface> interfaces;
    QStringList const names = interfaceNames();
    for (QString const &name : names) {
        InterfaceAddress const address = addresses.value(name);
        auto const route = std::find_if(routes.begin(), routes.end(),
                                        [&](Route const &candidate) { return candidate.interfaceName == name; });

        NetworkInterface interface;
        interface.interfaceName = name;
        interface.status = text(netDirectory + name + QStringLiteral("/operstate"));
        interface.mac = text(netDirectory + name + QStringLiteral("/address"));
        interface.ipV4 = address.ipV4;
        interface.netmask = address.netmask;
        if (route != routes.end())
            interface.gateway = route->gateway;
        interface.ipV6 = address.ipV6;
        // Name servers are the system's, and are reached over the active interface.
        if (name == active)
            interface.dns = nameServers();
        interfaces.append(interface);
    }
    return interfaces;
}

std::optional<WifiInfo> Machine::wifiInfo() const
{
    QList<QByteArray> const lines = contents(QStringLiteral("proc/net/wireless")).split('\n');
    for (QByteArray const &line : lines) {
        // Name and colon, status, link quality, signal level and noise; two lines of headings have no such colon.
        QList<QByteArray> const words = line.simplified().split(' ');
        if (words.size() < 4 || !words.at(0).endsWith(':'))
            continue;

        WifiInfo info;
        bool ok = false;
        double const level = words.at(3).toDouble(&ok);
        if (ok && level < 0 && level >= std::numeric_limits<qint8>::min())
            info.wifiRssi = static_cast<qint8>(level);
        return info;
    }
    return {};
}

} // namespace stbhost
