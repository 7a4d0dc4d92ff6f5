#include "counts.h"
#include "managermodel.h"
#include "random/randomvalues.h"

#include <analytics/analyticsmanager.h>
#include <analytics/jsoneventserializer.h>

#include <QtCore/QLoggingCategory>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>
#include <memory>
#include <vector>

/**
 * @file
 * @brief Two managers and plug-ins that throw, and that call the managers from inside their own calls.
 *
 * The input is played twice, on the library's managers and on their models, and all that the plug-ins and the caller
 * see has to be the same. What the input holds is drawn as it is needed, so two plays that part go on to differ.
 */

using namespace analytics;

namespace {

[[noreturn]] void fail(QByteArray const &what)
{
    std::fprintf(stderr, "%s\n", what.constData());
    std::abort();
}

/// What a plug-in throws.
struct Fault
{
    int number;
};

template <typename Manager> class Play
{
public:
    Play(uchar const *input, std::size_t size)
        : m_random(input, size)
    {
    }

    Q_DISABLE_COPY_MOVE(Play)

    /// What there was to be seen, a line for each call.
    QByteArray journal()
    {
        m_isLossless = m_random.oneIn(2);
        for (int number : {0, 1})
            recreate(number);
        for (int left = m_random.below(64); left > 0; --left)
            act();

        m_isCalm = true;
        for (int number : {0, 1}) {
            plugInAll(number);
            append(number, EventType::Discover, EventPriority::Medium);
        }
        for (auto &manager : m_managers)
            manager.reset();

        checkEvents();
        checkWhatWasKept();
        return m_journal;
    }

private:
    class Provider : public IPropertyProvider
    {
    public:
        Provider(Play *play, int number)
            : m_play(play)
            , m_number(number)
        {
        }

        QVariant value(Property property, AnalyticsEventData const &data) const override
        {
            m_play->note("  provider ", m_number, ": property ", static_cast<int>(property), " of ", data.tag);
            m_play->misbehave();
            return property == Property::EventCounter ? QVariant(data.tag) : QVariant();
        }

    private:
        Play *m_play;
        int m_number;
    };

    /// An event is its number in brackets.
    class Serializer : public IEventSerializer
    {
    public:
        Serializer(Play *play, int number)
            : m_play(play)
            , m_number(number)
        {
        }

        QByteArray serialize(IPropertyProvider const *provider, AnalyticsEventData const &data,
                             QList<Property> const &properties) const override
        {
            QByteArray wanted;
            for (Property property : properties)
                wanted += ' ' + QByteArray::number(static_cast<int>(property));
            m_play->note("  serializer ", m_number, ": event ", data.tag, " of type ", static_cast<int>(data.type),
                         " at ", data.time.count(), ", value ", data.value.toInt(), ", properties", wanted);
            m_play->misbehave();
            int const tag = data.tag;
            QVariant const counter = provider->value(Property::EventCounter, data);
            m_play->serialized(tag);
            return '<' + QByteArray::number(tag) + (counter.isValid() ? ">" : "?>");
        }

        QByteArray pack(QList<QByteArray> const &events) const override
        {
            m_play->note("  serializer ", m_number, ": pack ", events.size());
            m_play->m_lists.push_back({events, copyOf(events)});
            m_play->misbehave();
            return events.join(',');
        }

    private:
        Play *m_play;
        int m_number;
    };

    class JsonSerializer : public JsonEventSerializer
    {
    public:
        explicit JsonSerializer(Play *play)
            : m_play(play)
        {
        }

        QByteArray pack(QList<QByteArray> const &events) const override
        {
            m_play->misbehave();
            return JsonEventSerializer::pack(events);
        }

    private:
        Play *m_play;
    };

    class Sender : public IPackageSender
    {
    public:
        Sender(Play *play, int number)
            : m_play(play)
            , m_number(number)
        {
        }

        void send(QByteArray const &package, bool highPriority) override
        {
            m_play->note("  sender ", m_number, highPriority ? ": high " : ": ", package.isNull() ? "null" : package);
            m_play->m_packages.push_back({package, QByteArray(package.constData(), package.size())});
            m_play->misbehave();
            m_play->delivered(package);
        }

    private:
        Play *m_play;
        int m_number;
    };

    template <typename... Parts> void note(Parts const &...parts)
    {
        (add(parts), ...);
        m_journal += '\n';
    }

    void add(QByteArray const &text) { m_journal += text; }
    void add(char const *text) { m_journal += text; }
    void add(qint64 number) { m_journal += QByteArray::number(number); }

    // The caller, who is also what the plug-ins call from inside

    void act()
    {
        constexpr EventPriority priorities[] = {EventPriority::Low,
                                                EventPriority::Low,
                                                EventPriority::Medium,
                                                EventPriority::Medium,
                                                EventPriority::Medium,
                                                EventPriority::High,
                                                EventPriority::High,
                                                static_cast<EventPriority>(-1),
                                                static_cast<EventPriority>(3),
                                                static_cast<EventPriority>(INT_MIN),
                                                static_cast<EventPriority>(INT_MAX)};

        int const number = m_random.below(2);
        Manager &manager = *m_managers[number];
        switch (m_random.below(12)) {
        case 0:
        case 1:
            m_isEnabled[number] = m_random.oneIn(2);
            manager.setEnabled(m_isEnabled[number]);
            break;
        case 2:
            if (m_depth == 0 && !m_isLossless)
                recreate(number);
            break;
        case 3:
            manager.setPropertyProvider(one<IPropertyProvider>({&m_providers[0], &m_providers[1]}));
            break;
        case 4:
            manager.setEventSerializer(
                one<IEventSerializer>({&m_serializers[0], &m_serializers[1], &m_jsonSerializer}));
            break;
        case 5:
            manager.setPackageSender(one<IPackageSender>({&m_senders[0], &m_senders[1]}));
            break;
        default: {
            auto const type = static_cast<EventType>(m_random.below(static_cast<int>(unknownEventType) + 1));
            EventPriority const priority = m_random.oneOf(priorities);
            if (m_depth > 0 && m_random.oneIn(2)) {
                append(number, type, priority);
                break;
            }
            try {
                append(number, type, priority);
            } catch (Fault const &fault) {
                note("caught ", fault.number);
            }
        }
        }
    }

    template <typename PlugIn> PlugIn *one(std::vector<PlugIn *> const &plugIns)
    {
        int const count = static_cast<int>(plugIns.size());
        int const choice = m_random.below(m_isLossless ? count : count + 1);
        return choice < count ? plugIns[static_cast<std::size_t>(choice)] : nullptr;
    }

    void recreate(int number)
    {
        note("recreate ", number);
        m_managers[number] = std::make_unique<Manager>();
        m_isEnabled[number] = false;
        if (m_isLossless)
            plugInAll(number);
    }

    void plugInAll(int number)
    {
        m_managers[number]->setPropertyProvider(&m_providers[0]);
        m_managers[number]->setEventSerializer(&m_serializers[0]);
        m_managers[number]->setPackageSender(&m_senders[0]);
        m_managers[number]->setEnabled(true);
        m_isEnabled[number] = true;
    }

    void append(int number, EventType type, EventPriority priority)
    {
        int const tag = static_cast<int>(m_events.size());
        m_events.push_back({number, priority});
        note("append ", tag, " to ", number, " with priority ", static_cast<int>(priority));
        m_managers[number]->appendEvent(type, tag, std::chrono::milliseconds(1000 + tag), 2000 + tag, priority);
        note("appended ", tag);
        m_events[static_cast<std::size_t>(tag)].hasReturned = true;
    }

    void misbehave()
    {
        constexpr int deepest = 5;
        if (m_isCalm || m_depth == deepest)
            return;
        int const chance = m_random.below(16);
        if (chance == 15) {
            ++m_faults;
            note("  throw ", m_faults);
            throw Fault{m_faults};
        }
        struct Deeper
        {
            explicit Deeper(int &which)
                : depth(which)
            {
                ++depth;
            }
            ~Deeper() { --depth; }
            Q_DISABLE_COPY_MOVE(Deeper)
            int &depth;
        } const deeper(m_depth);
        for (int left = chance - 11; left > 0; --left)
            act();
    }

    // Where no plug-in is ever missing and no manager is destroyed before its time, each event arrives, and once. In
    // any case none arrives twice.

    struct Appended
    {
        int manager;
        EventPriority priority;
        bool isSerialized = false;
        bool wasEnabled = false;
        bool hasReturned = false;
        int arrived = 0;
    };

    void serialized(int tag)
    {
        Appended &event = m_events[static_cast<std::size_t>(tag)];
        event.isSerialized = true;
        event.wasEnabled = m_isEnabled[event.manager];
    }

    void delivered(QByteArray const &package)
    {
        for (qsizetype at = package.indexOf('<'); at >= 0; at = package.indexOf('<', at + 1))
            ++m_events[static_cast<std::size_t>(std::atoi(package.constData() + at + 1))].arrived;
    }

    bool isExpected(Appended const &event) const
    {
        if (!event.isSerialized)
            return false;
        bool const isKept
            = !event.wasEnabled || event.priority == EventPriority::Low || event.priority == EventPriority::Medium;
        return isKept || (event.priority == EventPriority::High && event.hasReturned);
    }

    void checkEvents() const
    {
        for (std::size_t tag = 0; tag < m_events.size(); ++tag) {
            Appended const &event = m_events[tag];
            bool const isFine = m_isLossless ? event.arrived == (isExpected(event) ? 1 : 0) : event.arrived <= 1;
            if (!isFine)
                fail(m_journal + "event " + QByteArray::number(static_cast<int>(tag)) + " arrived "
                     + QByteArray::number(event.arrived) + " times");
        }
    }

    // What a plug-in keeps of its arguments stays as it is.

    template <typename Type> struct Kept
    {
        Type shared;
        Type copy;
    };

    static QList<QByteArray> copyOf(QList<QByteArray> const &list)
    {
        QList<QByteArray> copy;
        for (QByteArray const &bytes : list)
            copy.append(QByteArray(bytes.constData(), bytes.size()));
        return copy;
    }

    void checkWhatWasKept() const
    {
        for (auto const &list : m_lists) {
            if (list.shared != list.copy)
                fail(m_journal + "a list has changed: " + list.copy.join(',') + " to " + list.shared.join(','));
        }
        for (auto const &package : m_packages) {
            if (package.shared != package.copy)
                fail(m_journal + "a package has changed: " + package.copy + " to " + package.shared);
        }
    }

    Random m_random;
    QByteArray m_journal;
    bool m_isLossless = false;
    bool m_isCalm = false;
    int m_depth = 0;
    int m_faults = 0;
    std::vector<Appended> m_events; ///< By tag.
    std::vector<Kept<QList<QByteArray>>> m_lists;
    std::vector<Kept<QByteArray>> m_packages;

    Provider m_providers[2] = {{this, 0}, {this, 1}};
    Serializer m_serializers[2] = {{this, 0}, {this, 1}};
    JsonSerializer m_jsonSerializer{this};
    Sender m_senders[2] = {{this, 0}, {this, 1}};
    bool m_isEnabled[2] = {false, false};
    std::unique_ptr<Manager> m_managers[2];
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uchar const *input, std::size_t size)
{
    [[maybe_unused]] static bool const isQuiet
        = (QLoggingCategory::setFilterRules(QStringLiteral("stbanalytics.debug=false")), true);

    QByteArray const seen = Play<AnalyticsManager>(input, size).journal();
    QByteArray const expected = Play<ManagerModel>(input, size).journal();
    if (seen != expected) {
        auto const [at, _] = std::mismatch(seen.begin(), seen.end(), expected.begin(), expected.end());
        qsizetype const common = seen.left(at - seen.begin()).lastIndexOf('\n') + 1;
        fail(seen.left(common) + "--- seen:\n" + seen.mid(common) + "--- expected:\n" + expected.mid(common));
    }
    return 0;
}
