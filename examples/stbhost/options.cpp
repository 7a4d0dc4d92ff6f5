#include <stbhost/options.h>

#include <QtCore/QCommandLineParser>

#include <cmath>
#include <limits>

namespace stbhost {

using namespace stbanalytics::delivery;

namespace {

/// A URL as it may be shown and logged. What cannot be read as a URL may hold a password all the same.
QString withoutUser(QString const &url)
{
    qsizetype const slashes = url.indexOf(QLatin1String("//"));
    qsizetype const begin = slashes < 0 ? 0 : slashes + 2;
    qsizetype const end = url.lastIndexOf(QLatin1Char('@'));
    return end < begin ? url : url.left(begin) + QLatin1String("***") + url.mid(end);
}

/// One option after the other, until one is wrong.
class Reader
{
public:
    explicit Reader(QCommandLineParser const &parser)
        : m_parser(parser)
    {
    }

    /// Seconds, which are counted in milliseconds by an int.
    void seconds(char const *name, double least, std::chrono::milliseconds &value)
    {
        QString const text = m_parser.value(QLatin1String(name));
        if (isSet(name) && !readSeconds(text, least, value))
            complain(name, QStringLiteral("a number of seconds from %1 to 2147483").arg(least), text);
    }

    void wholeNumber(char const *name, QString const &unit, qint64 least, qint64 &value)
    {
        QString const text = m_parser.value(QLatin1String(name));
        if (!isSet(name))
            return;
        bool isNumber = false;
        qint64 const number = text.toLongLong(&isNumber);
        if (!isNumber || number < least)
            complain(name, QStringLiteral("a number%1 from %2").arg(unit).arg(least), text);
        else
            value = number;
    }

    void backoff(char const *name, BackoffLimits &limits)
    {
        QString const text = m_parser.value(QLatin1String(name));
        if (!isSet(name))
            return;
        QStringList const parts = text.split(QLatin1Char(','));
        if (parts.size() != 2 || !readSeconds(parts.first(), 0.001, limits.first)
            || !readSeconds(parts.last(), 0.001, limits.most) || limits.most < limits.first)
            complain(name, QStringLiteral("two numbers of seconds, the smaller one first, such as 5,900"), text);
    }

    void complain(QString const &problem)
    {
        if (m_problem.isEmpty())
            m_problem = problem;
    }

    QString problem() const { return m_problem; }

private:
    bool isSet(char const *name) const { return m_parser.isSet(QLatin1String(name)); }

    void complain(char const *name, QString const &expected, QString const &text)
    {
        complain(QStringLiteral("--%1: expected %2, got %3").arg(QLatin1String(name), expected, text));
    }

    static bool readSeconds(QString const &text, double least, std::chrono::milliseconds &value)
    {
        bool isNumber = false;
        double const number = text.toDouble(&isNumber);
        if (!isNumber || !(number >= least) || number * 1000 > std::numeric_limits<int>::max())
            return false;
        value = std::chrono::milliseconds(std::llround(number * 1000));
        return true;
    }

    QCommandLineParser const &m_parser;
    QString m_problem;
};

struct OptionText
{
    char const *name;
    char const *description;
    char const *value; ///< Null for an option without a value.
    bool isOfDelivery;
};

} // namespace

// clang-format off

static constexpr OptionText optionTexts[] = {
    {"live",      "Report samples of this machine until SIGINT or SIGTERM.",                             nullptr,      false},
    {"interval",  "Time between two samples, 10 unless given.",                                          "seconds",    false},
    {"count",     "Stop after so many samples.",                                                         "samples",    false},
    {"pace",      "Time between two events of a script, 0 unless given.",                                "seconds",    false},
    {"box",       "What the events call this box; its machine's identifier, in a form of its own, unless given.", "name", false},
    {"quiet",     "Keep the log, one line for each event, and the status to itself.",                    nullptr,      false},
    {"collector", "Deliver the packages there, by http or https, instead of writing them to standard output.", "URL",  false},
    {"spool",     "Folder in which packages wait until the collector has them.",                         "folder",     true},
    {"quota",     "What may wait there, 20000000 unless given.",                                         "bytes",      true},
    {"max-age",   "For how long, 604800 unless given.",                                                  "seconds",    true},
    {"batch",     "What may go in one request, 262144 unless given.",                                    "bytes",      true},
    {"gzip",      "Compress the requests.",                                                              nullptr,      true},
    {"ca",        "Certificates in PEM to be trusted besides the system's.",                             "file",       true},
    {"timeout",   "For how long a request may make no progress, 30 unless given.",                       "seconds",    true},
    {"backoff",   "The longest wait after one failure and after many, 5,900 unless given.",              "first,most", true},
    {"spread",    "The longest wait where all boxes would come at once: before the first request, and on top of what the collector asks for, 60 unless given.",                         "seconds",    true},
    {"flush",     "How often low-priority events that wait are sent, 60 unless given.",                  "seconds",    true},
    {"linger",    "For how long to go on delivering when all is reported, 5 unless given.",              "seconds",    true},
    {"echo",      "Write each package to standard output, too, once it is safe in the spool.",           nullptr,      true},
};

// clang-format on

QString readOptions(QStringList const &arguments, Options &options)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Reports the events of scripts, or samples of this machine, as packages of JSON: one a line, or "
                       "delivered to a collector."));
    for (OptionText const &text : optionTexts) {
        QStringList names(QLatin1String(text.name));
        if (names.first() == QLatin1String("quiet"))
            names.prepend(QStringLiteral("q"));
        parser.addOption({names, QLatin1String(text.description), QLatin1String(text.value)});
    }
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("script"),
                                 QStringLiteral("Script with one event a line; standard input when none, or -."),
                                 QStringLiteral("[script...]"));
    parser.process(arguments);
    auto const isSet = [&](char const *name) { return parser.isSet(QLatin1String(name)); };
    auto const value = [&](char const *name) { return parser.value(QLatin1String(name)); };

    Reader reader(parser);
    options.scripts = parser.positionalArguments();
    options.isLive = isSet("live");
    options.isQuiet = isSet("quiet");
    options.isEchoed = isSet("echo");
    options.box = value("box");
    if (options.isLive && !options.scripts.isEmpty())
        reader.complain(QStringLiteral("--live takes no scripts"));
    if (!options.isLive && (isSet("interval") || isSet("count")))
        reader.complain(QStringLiteral("--interval and --count need --live"));
    if (options.scripts.isEmpty())
        options.scripts.append(QStringLiteral("-"));

    reader.seconds("interval", 0.001, options.interval);
    qint64 count = 0;
    reader.wholeNumber("count", {}, 1, count);
    if (isSet("count"))
        options.count = static_cast<int>(std::min<qint64>(count, std::numeric_limits<int>::max()));
    reader.seconds("pace", 0, options.pace);
    reader.seconds("flush", 0.001, options.flush);
    reader.seconds("linger", 0, options.linger);

    if (!isSet("collector")) {
        for (OptionText const &text : optionTexts) {
            if (text.isOfDelivery && isSet(text.name))
                reader.complain(QStringLiteral("--%1 needs --collector").arg(QLatin1String(text.name)));
        }
        return reader.problem();
    }

    DeliveryOptions &delivery = options.delivery.emplace();
    delivery.folder = value("spool");
    if (delivery.folder.isEmpty())
        reader.complain(QStringLiteral("--collector needs --spool"));
    // A quota that holds no package at all would lose every one.
    reader.wholeNumber("quota", QStringLiteral(" of bytes"), 10'000, delivery.spool.bytes);
    qint64 age = delivery.spool.age.count();
    reader.wholeNumber("max-age", QStringLiteral(" of seconds"), 1, age);
    delivery.spool.age = std::chrono::seconds(age);
    reader.wholeNumber("batch", QStringLiteral(" of bytes"), 1, delivery.batchBytes);
    reader.backoff("backoff", delivery.backoff);
    reader.seconds("spread", 0, delivery.backoff.spread);
    reader.seconds("timeout", 0.001, delivery.link.timeout);
    delivery.link.isCompressed = isSet("gzip");
    delivery.link.caFile = value("ca");
    if (isSet("ca") && delivery.link.caFile.isEmpty())
        reader.complain(QStringLiteral("--ca: expected a file, got nothing"));
    delivery.link.url = QUrl(value("collector"), QUrl::StrictMode);
    QString const problem = problemOf(delivery.link);
    if (!problem.isEmpty())
        reader.complain(QStringLiteral("--collector %1: %2").arg(withoutUser(value("collector")), problem));
    return reader.problem();
}

} // namespace stbhost
