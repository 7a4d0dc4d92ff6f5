#pragma once

#include <delivery/deliveryoptions.h>

#include <QtCore/QStringList>

#include <chrono>
#include <optional>

namespace stbhost {

using stbanalytics::delivery::DeliveryOptions;

/// What the command line asks for.
struct Options
{
    QStringList scripts;
    bool isLive = false;
    std::chrono::milliseconds interval = std::chrono::seconds(10);
    std::optional<int> count;
    std::chrono::milliseconds pace{}; ///< Between two events of a script.
    QString box;
    bool isQuiet = false;

    std::optional<DeliveryOptions> delivery; ///< None: packages go to standard output.
    bool isEchoed = false;
    std::chrono::milliseconds flush = std::chrono::seconds(60);
    std::chrono::milliseconds linger = std::chrono::seconds(5);
};

/// Reads the command line, which begins with the program's name. Answers --help and --version, and ends the process
/// then. Returns what is wrong; an empty string when nothing is.
QString readOptions(QStringList const &arguments, Options &options);

} // namespace stbhost
