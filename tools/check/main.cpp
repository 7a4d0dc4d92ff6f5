#include <check/report.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QFile>

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

namespace {

int fail(QString const &reason)
{
    std::fprintf(stderr, "stbanalytics-check: %s\n", qPrintable(reason));
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("stbanalytics-check"));
    QCoreApplication::setApplicationVersion(QStringLiteral(STBANALYTICS_VERSION));

    QCommandLineOption const summary(QStringLiteral("summary"), QStringLiteral("Print the counts only."));
    QCommandLineOption const color(QStringLiteral("color"),
                                   QStringLiteral("Use colors: always, never, or auto, which is on a terminal unless "
                                                  "NO_COLOR is set."),
                                   QStringLiteral("when"), QStringLiteral("auto"));
    QCommandLineOption const format(QStringLiteral("format"),
                                    QStringLiteral("What to print: text for people, or lines for programs, which is "
                                                   "file:line:column: path: reason for each fault, and nothing else. "
                                                   "The column is 1 where the path says the place; the path is JSON "
                                                   "for a line that is neither package nor event."),
                                    QStringLiteral("form"), QStringLiteral("text"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Prints analytics packages and events for people: the types that each event may be of, its fields, and what\n"
        "breaks the wire format. The exit status is 1 when something does, and 2 when an input cannot be read."));
    parser.addOptions({summary, color, format});
    QCommandLineOption const help = parser.addHelpOption();
    QCommandLineOption const version = parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("file"),
                                 QStringLiteral("Packages or events, one a line; standard input when none, or -."),
                                 QStringLiteral("[file...]"));
    if (!parser.parse(QCoreApplication::arguments()))
        return fail(parser.errorText());
    if (parser.isSet(help))
        parser.showHelp();
    if (parser.isSet(version))
        parser.showVersion();
    QString const when = parser.value(color);
    if (when != QLatin1String("always") && when != QLatin1String("never") && when != QLatin1String("auto"))
        return fail(QStringLiteral("--color: expected always, never or auto, got ") + when);
    QString const form = parser.value(format);
    if (form != QLatin1String("text") && form != QLatin1String("lines"))
        return fail(QStringLiteral("--format: expected text or lines, got ") + form);
    if (form == QLatin1String("lines") && parser.isSet(summary))
        return fail(QStringLiteral("--summary: lines have no summary"));

    QFile output;
    if (!output.open(stdout, QIODevice::WriteOnly))
        return fail(QStringLiteral("standard output: ") + output.errorString());
    Report::Style style;
    style.hasColors = when == QLatin1String("always")
        || (when == QLatin1String("auto") && isatty(STDOUT_FILENO) && qEnvironmentVariableIsEmpty("NO_COLOR"));
    style.isSummaryOnly = parser.isSet(summary);
    style.isForPrograms = form == QLatin1String("lines");
    Report report(output, style);

    QStringList names = parser.positionalArguments();
    if (names.isEmpty())
        names.append(QStringLiteral("-"));
    int status = 0;
    for (QString const &name : names) {
        QFile input(name);
        bool const isStandard = name == QLatin1String("-");
        if (isStandard ? input.open(STDIN_FILENO, QIODevice::ReadOnly) : input.open(QIODevice::ReadOnly))
            report.read(input, isStandard ? QStringLiteral("<stdin>") : name);
        if (input.error() != QFileDevice::NoError)
            status = fail(name + QStringLiteral(": ") + input.errorString());
    }
    report.writeSummary();
    output.close();
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        return fail(QStringLiteral("standard output cannot be written to"));
    return status != 0 ? status : report.isSound() ? 0 : 1;
}
