#pragma once

#include <QtCore/QIODevice>
#include <QtCore/QString>
#include <QtCore/QTextStream>

#include <functional>

namespace stbhost {

class Host;

/**
 * @brief Reports the events of a script, which has one JSON object a line.
 *
 * A line tells the event's wire name, its priority, its time in milliseconds and what it brings:
 * `{"event":"playback_start","priority":"medium","time":1790000000000,"values":{"Channel":{"channel_id":7}}}`.
 * Values go by the name of the property; records are written as they are on the wire. Blank lines are passed over.
 * A line that cannot be read is left out whole.
 *
 * @param script the script, open
 * @param name what to call it in messages
 * @param host reports the events
 * @param goesOn asked after each event; the script ends when it says no
 * @param messages takes a line of the form `name:line: reason` for each line that is wrong
 * @return whether all lines were right
 */
bool playScript(QIODevice &script, QString const &name, Host &host, std::function<bool()> const &goesOn,
                QTextStream &messages);

} // namespace stbhost
