#pragma once

#include <analytics/enums.h>

#include <QtCore/QHash>
#include <QtCore/QMetaType>
#include <QtCore/QUuid>
#include <QtCore/QVariant>

namespace stbhost {

/// What stbhost passes with each event, through the library, to its provider.
struct Payload
{
    QUuid eventId; ///< Made with the event, so that whoever asks again is told the same.
    QHash<analytics::Property, QVariant> values; ///< What the event itself brings.
};

} // namespace stbhost

Q_DECLARE_METATYPE(stbhost::Payload)
