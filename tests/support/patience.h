#pragma once

#include <QtCore/QtGlobal>

/// How long a test waits, in milliseconds: what has not come by then never will, on the slowest of machines.
/// STBANALYTICS_PATIENCE, in seconds, shortens it where many programs are broken on purpose.
inline int patience()
{
    bool isSet = false;
    int const seconds = qEnvironmentVariableIntValue("STBANALYTICS_PATIENCE", &isSet);
    return (isSet ? seconds : 30) * 1000;
}
