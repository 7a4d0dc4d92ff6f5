#pragma once

#include <analytics/records.h>

#include <QtCore/QHash>
#include <QtCore/QStringList>

#include <functional>
#include <optional>

namespace stbhost {

/// The addresses of one network interface.
struct InterfaceAddress
{
    QString ipV4; ///< IPv4 address.
    QString netmask; ///< IPv4 netmask.
    QString ipV6; ///< IPv6 address.
};

/// Addresses by the name of the interface.
using InterfaceAddresses = QHash<QString, InterfaceAddress>;

/// The addresses of the running system.
InterfaceAddresses systemAddresses();

/**
 * @brief Reads the state of a Linux machine from /proc, /sys and /etc.
 *
 * Nothing is invented: what the machine does not tell is an empty string or list, a disengaged optional, or a record
 * with such members. Memory is in kB, as the kernel counts it.
 */
class Machine
{
public:
    /// Reads the tree below @p root, and what no file tells from @p addresses.
    explicit Machine(QString root = QStringLiteral("/"),
                     std::function<InterfaceAddresses()> addresses = systemAddresses);

    /// Identifies this installation to receivers; does not give away the machine's own identifier.
    QString uid() const;
    QString serialNumber() const;
    QString manufacturer() const;
    QString modelName() const;
    QString firmwareVersion() const;
    analytics::HardwareInfo hardwareInfo() const;

    /// Time since the system booted, in milliseconds.
    std::optional<qint64> uptime() const;
    /// Loads are those since the last call, the first time since the system booted; a call less than 0.1 s later
    /// repeats them.
    analytics::CpuInfo cpuInfo();
    /// Average and highest use are those of all calls so far.
    analytics::MemoryInfo memoryInfo();
    std::optional<bool> hdmiStatus() const;

    /// The interface of the default route; without one, the first that is up.
    QString activeInterface() const;
    /// Hardware address of the active interface.
    QString macAddress() const;
    /// How often the active interface has lost its link.
    std::optional<qint64> linkFaults() const;
    std::optional<analytics::NetworkInfo> networkInfo() const;
    QList<analytics::NetworkInterface> networkInterfaces() const;
    std::optional<analytics::WifiInfo> wifiInfo() const;

private:
    struct Ticks
    {
        qint64 busy = 0;
        qint64 total = 0;
    };

    struct Load
    {
        std::optional<qint16> average;
        std::optional<qint16> highest;
    };

    struct Route
    {
        QString interfaceName;
        QString gateway;
        int metric = 0;
    };

    QByteArray contents(QString const &path) const;
    QString text(QString const &path) const;
    QString firstText(QStringList const &paths) const;
    std::optional<qint64> number(QString const &path) const;
    QString entry(QString const &path, char separator, QString const &name) const;
    std::optional<qint64> kiloBytes(QString const &path, QString const &name) const;
    QStringList directories(QString const &path) const;

    std::optional<qint16> temperature() const;
    std::optional<qint16> clockMhz() const;
    QHash<QString, Ticks> ticks() const;

    QStringList interfaceNames() const;
    QList<Route> defaultRoutes() const;
    QStringList nameServers() const;

    QString const m_root;
    std::function<InterfaceAddresses()> const m_addresses;

    QHash<QString, Ticks> m_ticks;
    Load m_load;

    qint64 m_memoryReadings = 0;
    qint64 m_memoryUsageSum = 0;
    qint64 m_memoryMaxUsage = 0;
};

} // namespace stbhost
