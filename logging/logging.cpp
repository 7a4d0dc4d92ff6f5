#include <logging/logging.h>

#include <QtCore/QLoggingCategory>

#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace logging {

namespace {

/// Qt filters by category objects, and such an object keeps only a pointer to its name: both are kept here. They
/// are never destroyed, so that static destructors may still log.
QLoggingCategory const &categoryByName(char const *name)
{
    static std::mutex mutex;
    static auto &categories = *new std::map<std::string, std::unique_ptr<QLoggingCategory>, std::less<>>;

    std::lock_guard<std::mutex> const lock(mutex);
    auto it = categories.find(name);
    if (it == categories.end()) {
        it = categories.emplace(name, nullptr).first;
        it->second = std::make_unique<QLoggingCategory>(it->first.c_str());
    }
    return *it->second;
}

} // namespace

QDebug toLog(int level, const char *category, const QString &message, int line, const char *file, const char *function)
{
    QMessageLogger const logger(file, line, function);
    QLoggingCategory const &qtCategory = categoryByName(category);

    // Levels count from the most important: 1 error, 2 warning, 3 information, from 4 on details.
    QDebug stream = level <= 1 ? logger.critical(qtCategory)
        : level == 2           ? logger.warning(qtCategory)
        : level == 3           ? logger.info(qtCategory)
                               : logger.debug(qtCategory);
    if (!message.isEmpty())
        stream.noquote() << message;
    return stream.quote();
}

} // namespace logging
