#pragma once

#include <logging/logging.h>

#include <QtCore/QDebug>
#include <QtCore/QTextStream>

namespace analytics {

/// Tells the host's log that an event is ready. The words go into the text stream behind the debug stream, as single
/// items: the debug stream itself would make a QString of each first.
inline void writeDiagnosticLine(QString const &id, int counter)
{
    using Words = QTextStream &(*)(QTextStream &);
    Words const prepared
        = [](QTextStream &text) -> QTextStream & { return text << QLatin1String("analytics event prepared:"); };
    Words const idIs = [](QTextStream &text) -> QTextStream & { return text << QLatin1String("id ="); };
    Words const counterIs = [](QTextStream &text) -> QTextStream & { return text << QLatin1String("counter ="); };

    QDebug line = logging::toLog(4, "stbanalytics", QString(), 0, "", "");
    (line << prepared).maybeSpace();
    (line << idIs).maybeSpace() << id;
    (line << counterIs).maybeSpace() << counter;
}

} // namespace analytics
