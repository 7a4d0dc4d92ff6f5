#include <analytics/analyticsmanager.h>
#include <analytics/jsoneventserializer.h>
#include <analytics/testkit/mapprovider.h>
#include <analytics/testkit/recordingsender.h>

using namespace analytics;

int main()
{
    MapProvider provider({{Property::Query, 7}});
    JsonEventSerializer serializer;
    RecordingSender sender;
    AnalyticsManager manager;
    manager.setPropertyProvider(&provider);
    manager.setEventSerializer(&serializer);
    manager.setPackageSender(&sender);
    manager.setEnabled(true);
    manager.appendEvent(EventType::SearchResult, 0, {}, {}, EventPriority::High);
    return sender.events().size() == 1 && sender.events().at(0)[Property::Query].toInt() == 7 ? 0 : 1;
}
