#include <stbhost/console.h>
#include <stbhost/host.h>
#include <stbhost/live.h>
#include <stbhost/machine.h>
#include <stbhost/options.h>
#include <stbhost/script.h>
#include <stbhost/sender.h>
#include <stbhost/session.h>
#include <stbhost/stopsignal.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>

#include <csignal>

#include <unistd.h>

using namespace stbhost;
using Clock = std::chrono::steady_clock;
using GoesOnAfter = std::function<bool(Clock::time_point)>;

/// Plays the scripts one after the other, "-" being standard input. Returns whether all of them were right.
static bool playScripts(Options const &options, Host &host, StopSignal const &stop, GoesOnAfter const &goesOnAfter,
                        QTextStream &messages)
{
    bool areRight = true;
    bool isOver = false;
    auto const goesOnAt = [&](Clock::time_point time) {
        isOver = isOver || !goesOnAfter(time);
        return !isOver;
    };
    for (QString const &path : options.scripts) {
        bool const isStdin = path == QLatin1String("-");
        StoppableInput input(stop, [&] { return goesOnAt(Clock::now()); });
        QFile file(path);
        QIODevice &script = isStdin ? static_cast<QIODevice &>(input) : file;
        if (!script.open(QIODevice::ReadOnly)) {
            messages << path << ": " << script.errorString() << Qt::endl;
            areRight = false;
            continue;
        }
        if (!playScript(
                script, isStdin ? QStringLiteral("<stdin>") : path, host,
                [&] { return goesOnAt(Clock::now() + options.pace); }, messages))
            areRight = false;
        if (isOver)
            break;
    }
    return areRight;
}

/// Reports what the options ask for. Returns whether all scripts were right.
static bool play(Options const &options, Host &host, StopSignal const &stop, GoesOnAfter const &goesOnAfter,
                 QTextStream &messages)
{
    if (!options.isLive)
        return playScripts(options, host, stop, goesOnAfter, messages);
    // A host that delivers decides itself when to flush.
    auto const priority = options.delivery ? analytics::EventPriority::Low : analytics::EventPriority::Medium;
    reportLive(host, options.interval, options.count, priority, goesOnAfter);
    return true;
}

static int fail(Console &console, QString const &reason)
{
    console.line(QStringLiteral("stbhost: ") + reason.simplified());
    return 1;
}

/// Packages go to the collector. Returns the exit status.
static int deliver(Options const &options, Machine &machine, LineSender &lines, StopSignal const &stop,
                   Console &console, QTextStream &messages)
{
    DeliveryOptions delivery = *options.delivery;
    delivery.notice = [&](QString const &line) { console.line(QStringLiteral("stbhost: ") + line); };
    if (options.isEchoed)
        delivery.safe = [&](QByteArray const &package) { lines.send(package, false); };
    DeliverySender sender(delivery);
    QString const problem = sender.start();
    if (!problem.isEmpty())
        return fail(console, QStringLiteral("--spool %1: %2").arg(delivery.folder, problem));

    Host host(machine, sender, options.box);
    Session session(host, options, console, contextOf(sender, stop));
    auto const goesOnAfter = [&](Clock::time_point time) { return session.goesOnAfter(time); };
    bool const isRight = play(options, host, stop, goesOnAfter, messages);
    QString const lost = session.finish();
    if (!lost.isEmpty())
        return fail(console, lost);
    if (!lines.error().isEmpty())
        return fail(console, QStringLiteral("standard output: ") + lines.error());
    return isRight ? 0 : 1;
}

/// Packages go to standard output. Returns the exit status.
static int print(Options const &options, Machine &machine, LineSender &lines, StopSignal const &stop, Console &console,
                 QTextStream &messages)
{
    Host host(machine, lines, options.box);
    auto const goesOnAfter = [&](Clock::time_point time) {
        auto const rest = std::chrono::ceil<std::chrono::milliseconds>(time - Clock::now());
        return !stop.arrivesWithin(rest) && lines.error().isEmpty();
    };
    bool const isRight = play(options, host, stop, goesOnAfter, messages);
    if (!lines.error().isEmpty())
        return fail(console, QStringLiteral("standard output: ") + lines.error());
    if (int const lost = host.pendingEvents(); lost == 1)
        messages << "stbhost: 1 low-priority event is lost: only an event of medium priority sends it" << Qt::endl;
    else if (lost > 1)
        messages << "stbhost: " << lost << " low-priority events are lost: only an event of medium priority sends them"
                 << Qt::endl;
    return isRight ? 0 : 1;
}

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("stbhost"));
    QCoreApplication::setApplicationVersion(QStringLiteral(STBHOST_VERSION));

    Console console;
    QTextStream messages(&console);
    Options options;
    QString const problem = readOptions(QCoreApplication::arguments(), options);
    if (!problem.isEmpty())
        return fail(console, problem);
    // One line for each event does not go with a status.
    if (options.isQuiet || options.delivery)
        QLoggingCategory::setFilterRules(QStringLiteral("stbanalytics.debug=false"));

    // A reader that goes away is to be told as an error of the output.
    std::signal(SIGPIPE, SIG_IGN);
    StopSignal const stop;
    QFile output;
    if (!output.open(STDOUT_FILENO, QIODevice::WriteOnly | QIODevice::Unbuffered))
        return fail(console, QStringLiteral("standard output: ") + output.errorString());
    LineSender lines(output);
    Machine machine;
    if (!options.delivery)
        return print(options, machine, lines, stop, console, messages);

    // At its own end Qt would wait for as long as the collector's name is being looked up.
    _exit(deliver(options, machine, lines, stop, console, messages));
}
