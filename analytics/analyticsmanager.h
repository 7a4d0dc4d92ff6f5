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
 * A manager serializes each event at once and then, by the caller's priority, keeps it, flushes it
 * together with all pending events, or sends it alone. It starts disabled, with plug-ins that do
 * nothing. Everything happens on the caller's thread inside appendEvent(); one manager is to be used
 * from one thread at a time. Plug-ins belong to the host: the manager neither deletes them nor touches
 * them when it is destroyed. It throws nothing of its own but std::bad_alloc.
 *
 * A plug-in may call the manager from inside its own call. An event that it appends there is processed
 * before that call returns; a flush in progress neither sends nor loses it. If a plug-in throws, its
 * exception passes through appendEvent(); if it throws during a flush, the events of that flush stay pending.
 * docs/host/contract.md has all rules.
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

    /// Discards the pending events; calls no plug-in.
    ~AnalyticsManager() override;

    /**
     * @brief Plugs in the host's provider.
     * @param provider the host keeps ownership; null unplugs the previous one, and every property is then absent
     */
    void setPropertyProvider(IPropertyProvider *provider);

    /**
     * @brief Plugs in a serializer.
     * @param serializer the host keeps ownership; null unplugs the previous one, and events and packages are then empty
     */
    void setEventSerializer(IEventSerializer *serializer);

    /**
     * @brief Plugs in the host's sender.
     * @param sender the host keeps ownership; null unplugs the previous one, and packages are then dropped
     */
    void setPackageSender(IPackageSender *sender);

    /**
     * @brief Sets whether events may be sent.
     * @param enabled the new state; takes effect with the next event, and sends nothing by itself
     */
    void setEnabled(bool enabled);

    /**
     * @brief Reports one event.
     *
     * The event is serialized even if the manager is disabled. While the manager is disabled, the event
     * then joins the pending ones, whatever its priority.
     *
     * @param type what happened
     * @param tag an integer for the provider
     * @param time a time for the provider, in milliseconds
     * @param value a payload for the provider
     * @param priority how the event is delivered; an enabled manager serializes and then drops an event whose value
     *     is outside the enumeration
     * @throws only the exceptions of plug-ins, and std::bad_alloc
     */
    void appendEvent(EventType type, int tag, std::chrono::milliseconds time, QVariant const &value,
                     EventPriority priority);

private:
    AnalyticsManagerPrivate *const d;
};

} // namespace analytics

Q_DECLARE_METATYPE(analytics::AnalyticsManager)
