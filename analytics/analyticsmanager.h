#pragma once

#include <analytics/enums.h>
#include <analytics/export.h>

#include <QtCore/QMetaType>
#include <QtCore/QObject>
#include <QtCore/QVariant>

#include <chrono>

namespace analytics {

class AnalyticsManagerPrivate;
class IEventSerializer;
class IPackageSender;
class IPropertyProvider;

/**
 * @brief The one object that the box calls whenever something worth reporting happens.
 *
 * A manager serializes each event at once and then keeps it, flushes it together with all that is
 * pending, or sends it alone, by the caller's priority. It starts disabled, with plug-ins that do
 * nothing. Everything happens on the caller's thread inside appendEvent(); one manager is to be used
 * from one thread at a time. Plug-ins belong to the host: the manager neither deletes them nor touches
 * them when it is destroyed. It throws nothing of its own but std::bad_alloc.
 *
 * A plug-in may call the manager from inside its own call. An event that it appends there is dealt with
 * before that call goes on; a flush under way neither takes it along nor loses it. A plug-in's exception
 * passes through appendEvent(), and what was to be flushed stays pending. docs/host/contract.md has it all.
 *
 * Nothing but an event flushes, and nothing limits what is pending: while the manager is disabled, or while
 * only events of EventPriority::Low arrive, the buffer grows. Destroying the manager discards it.
 */
class STBANALYTICS_EXPORT AnalyticsManager : public QObject
{
    Q_OBJECT

public:
    /**
     * @brief Makes a disabled manager named "AnalyticsManager".
     * @param parent owns the manager; may be null
     */
    explicit AnalyticsManager(QObject *parent = nullptr);

    /// Discards what is pending; calls no plug-in.
    ~AnalyticsManager() override;

    /**
     * @brief Plugs in the host's provider.
     * @param provider stays the host's; null unplugs the one before, and every property is then absent
     */
    void setPropertyProvider(IPropertyProvider *provider);

    /**
     * @brief Plugs in a serializer.
     * @param serializer stays the host's; null unplugs the one before, and events and packages are then empty
     */
    void setEventSerializer(IEventSerializer *serializer);

    /**
     * @brief Plugs in the host's sender.
     * @param sender stays the host's; null unplugs the one before, and packages are then dropped
     */
    void setPackageSender(IPackageSender *sender);

    /**
     * @brief Sets whether events may be sent.
     * @param enabled the new state; nothing else is done, the next event acts on it
     */
    void setEnabled(bool enabled);

    /**
     * @brief Reports one event.
     *
     * The event is serialized, whether the manager is enabled or not. While it is disabled the event
     * then joins the pending ones, whatever its priority.
     *
     * @param type what happened
     * @param tag an integer for the provider
     * @param time a time for the provider, in milliseconds
     * @param value a payload for the provider
     * @param priority what is to become of the event; one outside the enumeration is dropped
     * @throws nothing but what a plug-in throws, and std::bad_alloc
     */
    void appendEvent(EventType type, int tag, std::chrono::milliseconds time, QVariant const &value,
                     EventPriority priority);

private:
    AnalyticsManagerPrivate *const d;
};

} // namespace analytics

Q_DECLARE_METATYPE(analytics::AnalyticsManager)
