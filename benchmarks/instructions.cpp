// What one event costs in instructions, which are the same from run to run. scripts/instructions runs this program
// under callgrind: instructions EVENT WORK, where WORK is
//   event     the event as a host has it serialized, with its log line
//   provider  what of that the benchmark's own provider costs
//   line      the log line alone

#include "host.h"

#include <analytics/diagnosticline_p.h>
#include <analytics/jsoneventserializer.h>

#include <QtCore/QMetaEnum>

#include <cstdio>
#include <cstring>
#include <functional>

#include <valgrind/callgrind.h>

using namespace analytics;

int main(int argc, char **argv)
{
    bool isType = false;
    int const value = argc == 3 ? QMetaEnum::fromType<EventType>().keyToValue(argv[1], &isType) : -1;
    if (!isType) {
        std::fprintf(stderr, "usage: instructions EVENT event|provider|line\n");
        return 2;
    }
    silenceLog();

    FullProvider const provider;
    JsonEventSerializer const serializer;
    AnalyticsEventData const data = eventOf(static_cast<EventType>(value));
    QList<Property> const generic = genericProperties();
    QList<Property> const own = propertiesOf(data.type);

    std::function<void()> work;
    if (std::strcmp(argv[2], "event") == 0) {
        work = [&] { serializer.serialize(&provider, data, generic); };
    } else if (std::strcmp(argv[2], "provider") == 0) {
        work = [&] {
            for (QList<Property> const &properties : {generic, own}) {
                for (Property property : properties)
                    provider.value(property, data);
            }
        };
    } else {
        QString const id = provider.value(Property::EventId, data).toString();
        work = [id] { writeDiagnosticLine(id, 1); };
    }

    for (int i = 0; i < 5; ++i) // What is made at the first event is made.
        work();
    CALLGRIND_TOGGLE_COLLECT;
    for (int i = 0; i < 20; ++i)
        work();
    CALLGRIND_TOGGLE_COLLECT;
    return 0;
}
