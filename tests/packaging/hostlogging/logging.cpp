#include <logging/logging.h>

/// A host's own logging library: it shows that it is the one that was called, and with what.
QDebug logging::toLog(int level, const char *category, const QString &message, int line, const char *file,
                      const char *function)
{
    QDebug stream(QtWarningMsg);
    stream.noquote() << "host's log:" << level << category << message << line << file << function;
    return stream.quote();
}
