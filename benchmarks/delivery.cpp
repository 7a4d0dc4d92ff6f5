// What a package costs the thread that reports: with DeliverySender, and with senders that wait.

#include "allocations.h"

#include <delivery/collectorlink_p.h>
#include <delivery/deliverysender.h>
#include <delivery/spool_p.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <thread>
#include <vector>

using namespace stbanalytics::delivery;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

/// The collector of the tests, in a process of its own.
class Collector
{
public:
    Collector(QString const &store, QStringList const &options)
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(COLLECTOR),
                        QStringList{QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--store"), store}
                            + options);
        if (m_process.waitForReadyRead())
            m_address = QString::fromUtf8(m_process.readLine()).section(QLatin1Char(' '), 1).trimmed();
    }

    ~Collector()
    {
        m_process.terminate();
        m_process.waitForFinished();
    }

    QUrl url() const { return QUrl(m_address + QLatin1String("packages")); }

private:
    QProcess m_process;
    QString m_address;
};

/// Hands over packages, a millisecond apart, and prints what each took.
template <typename Send> void measure(char const *name, int packages, Send send)
{
    // As long as the benchmark's event of service quality.
    QByteArray const package = "{\"events\":[{\"event_id\":\"" + QByteArray(3078, 'x') + "\"}]}";
    std::vector<double> microseconds;
    std::uint64_t allocations = 0;
    for (int i = 0; i < packages; ++i) {
        std::this_thread::sleep_for(1ms);
        std::uint64_t const before = heapAllocations();
        auto const begin = Clock::now();
        send(package);
        microseconds.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
        allocations += heapAllocations() - before;
    }
    std::sort(microseconds.begin(), microseconds.end());
    auto const at = [&](double share) { return microseconds.at(static_cast<size_t>(share * double(packages - 1))); };
    std::printf("| %s | %.1f | %.1f | %.1f | %.1f |\n", name, at(0.5), at(0.99), at(1), double(allocations) / packages);
}

DeliveryOptions optionsFor(QTemporaryDir const &folder, QUrl const &url)
{
    DeliveryOptions options;
    options.link.url = url;
    options.folder = folder.path();
    options.backoff.spread = 0ms;
    options.notice = [](QString const &) {};
    return options;
}

void measureSender(char const *name, QUrl const &url)
{
    QTemporaryDir const folder;
    DeliverySender sender(optionsFor(folder, url));
    if (!sender.start().isEmpty())
        return;
    measure(name, 5000, [&](QByteArray const &package) { sender.send(package, false); });
    if (qint64 const refused = sender.state().refused; refused > 0)
        std::fprintf(stderr, "%lld packages were refused: the figures above are of something else\n", refused);
}

void measureCommit()
{
    QTemporaryDir const folder;
    Spool spool({});
    if (!spool.open(folder.path()).isEmpty())
        return;
    measure("a commit on the caller's thread", 1000, [&](QByteArray const &package) {
        spool.add(package, false);
        spool.save();
    });
}

void measurePost(QUrl const &url)
{
    LinkOptions options;
    options.url = url;
    CollectorLink link(options);
    int number = 0;
    measure("a request on the caller's thread, fast collector", 1000, [&](QByteArray const &package) {
        QEventLoop loop;
        link.post("{\"packages\":[{\"key\":\"" + QByteArray::number(++number)
                      + "\",\"priority\":\"normal\",\"package\":" + package + "}]}",
                  [&](Answer const &) { loop.quit(); });
        loop.exec();
    });
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication const application(argc, argv);
    QTemporaryDir const folder;
    Collector const fast(folder.filePath(QStringLiteral("fast.db")), {});
    Collector const slow(folder.filePath(QStringLiteral("slow.db")),
                         {QStringLiteral("--fault"), QStringLiteral(R"({"kind":"slow","delay":1})")});

    std::puts("| a package of 3116 bytes | median, us | 99 %, us | most, us | allocations |\n|---|---|---|---|---|");
    measureSender("the sender, collector away", QUrl(QStringLiteral("http://127.0.0.1:9/")));
    measureSender("the sender, slow collector (1 s)", slow.url());
    measureSender("the sender, fast collector", fast.url());
    measureCommit();
    measurePost(fast.url());
    return 0;
}
