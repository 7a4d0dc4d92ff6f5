#pragma once

#include <QtCore/QDebug>
#include <QtCore/QString>

/// The host's logging library.
namespace logging {

/**
 * @brief Starts one line in the host's log.
 * @param level how important the line is; what each number means is the host's choice
 * @param category what the line belongs to
 * @param message the beginning of the line; may be empty
 * @param line the source line, or 0
 * @param file the source file's name, or ""
 * @param function the function's name, or ""
 * @return a stream for the rest of the line, which ends when the stream is destroyed
 */
QDebug toLog(int level, const char *category, const QString &message, int line, const char *file, const char *function);

} // namespace logging
