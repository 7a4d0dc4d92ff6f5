#include <analytics/records.h>

#include <QtCore/QVariant>

// A plug-in of a host's: a type of its own that converts to a record. Records that nobody else has used so far become
// known to Qt by its objects.

using namespace analytics;

namespace {

struct Module
{
    int size = 0;
};

/// Qt keeps pointers to the types that it knows: what has been made known by a plug-in has to be taken back. Converters
/// take themselves back when a library goes, and make their types known again by that: here is what goes after them.
struct Registered
{
    ~Registered()
    {
        QMetaType::unregisterMetaType(QMetaType::fromType<Module>());
        QMetaType::unregisterMetaType(QMetaType::fromType<MemoryModule>());
        QMetaType::unregisterMetaType(QMetaType::fromType<HdmiInfo>());
    }
} const registered;

} // namespace

extern "C" Q_DECL_EXPORT void begin()
{
    qRegisterMetaType<HdmiInfo>();
    qRegisterMetaType<MemoryModule>();
    QMetaType::registerConverter<Module, MemoryModule>([](Module const &module) {
        MemoryModule converted;
        converted.memSize = quint32(module.size);
        return converted;
    });
}

extern "C" Q_DECL_EXPORT void makeValue(int size, QVariant &value)
{
    value = QVariant::fromValue(Module{size});
}
