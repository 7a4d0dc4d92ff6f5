#pragma once

#include <analytics/enums.h>

#include <QtCore/QString>

#include <optional>

namespace stbhost {

/// The catalogue's name of an event: its enumerator in lower-case words, with trick mode as one word.
QString eventName(analytics::EventType type);

/// The event of that name, if there is one.
std::optional<analytics::EventType> eventOfName(QString const &name);

} // namespace stbhost
