#include <stbhost/host.h>
#include <stbhost/live.h>
#include <stbhost/machine.h>
#include <stbhost/script.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>

#include <cmath>
#include <csignal>
#include <cstdio>
#include <limits>

#include <unistd.h>

using namespace stbhost;

/// Plays the scripts one after the other, "-" being standard input. Returns whether all of them were right.
static bool playScripts(QStringList const &paths, Host &host, QTextStream &messages)
{
    bool areRight = true;
    for (QString const &path : paths) {
        bool const isStdin = path == QLatin1String("-");
        QFile file(path);
        if (!(isStdin ? file.open(STDIN_FILENO, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly))) {
            messages << path << ": " << file.errorString() << Qt::endl;
            areRight = false;
            continue;
        }
        if (!playScript(file, isStdin ? QStringLiteral("<stdin>") : path, host, messages))
            areRight = false;
    }
    return areRight;
}

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("stbhost"));
    QCoreApplication::setApplicationVersion(QStringLiteral(STBHOST_VERSION));

    QCommandLineOption const live(QStringLiteral("live"),
                                  QStringLiteral("Report samples of this machine until SIGINT or SIGTERM."));
    QCommandLineOption const interval(QStringLiteral("interval"),
                                      QStringLiteral("Time between two samples, 10 unless given."),
                                      QStringLiteral("seconds"), QStringLiteral("10"));
    QCommandLineOption const count(QStringLiteral("count"), QStringLiteral("Stop after so many samples."),
                                   QStringLiteral("samples"));
    QCommandLineOption const quiet({QStringLiteral("q"), QStringLiteral("quiet")},
                                   QStringLiteral("Keep the library's log, one line for each event, to itself."));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Reports the events of scripts, or samples of this machine, as packages of JSON, one a line."));
    parser.addOptions({live, interval, count, quiet});
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("script"),
                                 QStringLiteral("Script with one event a line; standard input when none, or -."),
                                 QStringLiteral("[script...]"));
    parser.process(application);

    QTextStream messages(stderr);
    auto const fail = [&](QString const &reason) {
        messages << "stbhost: " << reason << Qt::endl;
        return 1;
    };

    QStringList scripts = parser.positionalArguments();
    if (parser.isSet(live) && !scripts.isEmpty())
        return fail(QStringLiteral("--live takes no scripts"));
    if (!parser.isSet(live) && (parser.isSet(interval) || parser.isSet(count)))
        return fail(QStringLiteral("--interval and --count need --live"));
    if (scripts.isEmpty())
        scripts.append(QStringLiteral("-"));

    bool isNumber = false;
    double const milliseconds = parser.value(interval).toDouble(&isNumber) * 1000;
    // The timer counts milliseconds in an int.
    if (!isNumber || !(milliseconds >= 1) || milliseconds > std::numeric_limits<int>::max())
        return fail(QStringLiteral("--interval: expected a number of seconds from 0.001 to 2147483, got ")
                    + parser.value(interval));
    int const samples = parser.value(count).toInt(&isNumber);
    if (parser.isSet(count) && (!isNumber || samples < 1))
        return fail(QStringLiteral("--count: expected a number from 1, got ") + parser.value(count));

    if (parser.isSet(quiet))
        QLoggingCategory::setFilterRules(QStringLiteral("stbanalytics.debug=false"));

    // A reader that goes away is to be told as an error of the output.
    std::signal(SIGPIPE, SIG_IGN);
    QFile output;
    if (!output.open(STDOUT_FILENO, QIODevice::WriteOnly | QIODevice::Unbuffered))
        return fail(QStringLiteral("standard output: ") + output.errorString());

    Machine machine;
    Host host(machine, output);
    bool isRight = true;
    if (parser.isSet(live))
        reportLive(host, std::chrono::milliseconds(std::llround(milliseconds)),
                   parser.isSet(count) ? std::optional(samples) : std::nullopt);
    else
        isRight = playScripts(scripts, host, messages);

    if (!host.error().isEmpty())
        return fail(QStringLiteral("standard output: ") + host.error());
    if (int const lost = host.pendingEvents(); lost == 1)
        messages << "stbhost: 1 low-priority event is lost: only an event of medium priority sends it" << Qt::endl;
    else if (lost > 1)
        messages << "stbhost: " << lost << " low-priority events are lost: only an event of medium priority sends them"
                 << Qt::endl;
    return isRight ? 0 : 1;
}
