#include <analytics/testkit/recordingsender.h>

namespace analytics {

RecordingSender::~RecordingSender() = default;

void RecordingSender::send(QByteArray const &package, bool highPriority)
{
    m_packages.append({package, highPriority});
}

QList<SentPackage> RecordingSender::packages() const
{
    return m_packages;
}

QList<ReportedEvent> RecordingSender::events() const
{
    QList<ReportedEvent> all;
    for (SentPackage const &sent : m_packages) {
        QString error;
        std::optional<QList<ReportedEvent>> const read = readPackage(sent.package, &error);
        if (!read)
            qFatal("RecordingSender: cannot read a package: %s: %s", qPrintable(error), sent.package.constData());
        all += *read;
    }
    return all;
}

void RecordingSender::clear()
{
    m_packages.clear();
}

} // namespace analytics
