#pragma once

#include <analytics/ipackagesender.h>
#include <analytics/testkit/packagereader.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>

namespace analytics {

/// One call of a sender.
struct SentPackage
{
    QByteArray package; ///< The package, byte for byte.
    bool highPriority = false; ///< Whether it is a single event of EventPriority::High.
};

/**
 * @brief A sender for tests, which keeps what it is given.
 *
 * In a test of the box, with a sender that its manager is given:
 *
 * @code
 * box.chooseItem(8714); // calls appendEvent()
 * QCOMPARE(sender.events().size(), 1);
 * QCOMPARE(sender.events().at(0)[Property::ItemId].toInt(), 8714);
 * @endcode
 *
 * Read it on the thread that reports the events.
 */
class RecordingSender : public IPackageSender
{
public:
    ~RecordingSender() override;

    void send(QByteArray const &package, bool highPriority) override;

    /**
     * @brief Returns what was sent.
     * @return the packages in the order of the calls
     */
    QList<SentPackage> packages() const;

    /**
     * @brief Returns the events of all packages.
     *
     * A package that readPackage() cannot read ends the program by qFatal(), which tells what is wrong: no test is to
     * take it for a package without events. Where a test wants such a package, it reads packages() itself.
     *
     * @return the events in the order in which they were sent
     */
    QList<ReportedEvent> events() const;

    /// Forgets what was sent.
    void clear();

private:
    QList<SentPackage> m_packages;
};

} // namespace analytics
