#include <check/report.h>

#include <wireformat/faults.h>

#include <QtCore/QIODevice>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <algorithm>

using wireformat::EventVerdict;
using wireformat::PackageVerdict;

namespace {

constexpr char red[] = "\x1b[31m";
constexpr char green[] = "\x1b[32m";
constexpr char blue[] = "\x1b[34m";
constexpr char magenta[] = "\x1b[35m";
constexpr char bold[] = "\x1b[1m";

constexpr qint64 longestBar = 40;

QByteArray jsonOf(QJsonValue const &value)
{
    QByteArray const list = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return list.mid(1, list.size() - 2);
}

QString textOf(QStringList const &types)
{
    if (types.isEmpty())
        return QStringLiteral("broken");
    return types.size() > 3 ? QStringLiteral("one of %1 types").arg(types.size()) : types.join(QStringLiteral(" or "));
}

QByteArray counted(qint64 number, char const *what)
{
    return QByteArray::number(number) + ' ' + what + (number == 1 ? "" : "s");
}

} // namespace

Report::Report(QIODevice &output, Style style)
    : m_output(output)
    , m_style(style)
{
}

void Report::read(QIODevice &input, QString const &name)
{
    qint64 number = 0;
    for (QByteArray line = input.readLine(); !line.isEmpty(); line = input.readLine()) {
        ++number;
        while (line.endsWith('\n') || line.endsWith('\r'))
            line.chop(1);
        m_place = QStringLiteral("%1:%2").arg(name).arg(number);
        if (!line.trimmed().isEmpty())
            readLine(line);
    }
}

void Report::readLine(QByteArray const &line)
{
    m_bytes += line.size();

    QJsonParseError error;
    QJsonDocument const document = QJsonDocument::fromJson(line, &error);
    if (error.error != QJsonParseError::NoError) {
        // Qt's offset is behind the character that does not fit.
        qsizetype const column = std::max(QString::fromUtf8(line.left(error.offset)).toUcs4().size(), qsizetype(1));
        if (m_style.isForPrograms)
            writeForPrograms(column, QStringLiteral("JSON: ") + error.errorString());
        else
            writeFault(QStringLiteral("%1:%2: %3").arg(m_place).arg(column).arg(error.errorString()));
        ++m_broken;
        return;
    }

    QJsonObject const object = document.object();
    bool holds = false;
    if (document.isArray()) {
        QString const fault = QStringLiteral("expected a package or an event, got a list");
        if (m_style.isForPrograms)
            writeForPrograms(1, QStringLiteral("JSON: ") + fault);
        else
            writeFault(m_place + QStringLiteral(": ") + fault);
    } else if (object.contains(QLatin1String("events"))) {
        ++m_packages;
        writeLine(colored(bold, QStringLiteral("%1: package %2").arg(m_place).arg(m_packages).toUtf8()));
        holds = readPackage(object);
    } else {
        holds = readEvent(object, m_place + QStringLiteral(": event"),
                          wireformat::checkEvent(object, QStringLiteral("event")));
    }
    m_broken += holds ? 0 : 1;
}

bool Report::readPackage(QJsonObject const &package)
{
    PackageVerdict const verdict = wireformat::checkPackage(package);
    for (QString const &fault : verdict.faults)
        writeFault(fault);
    bool holds = verdict.faults.isEmpty();
    QJsonArray const events = package.value(QLatin1String("events")).toArray();
    for (qsizetype i = 0; i < events.size(); ++i) {
        QString const title = QStringLiteral("package %1, event %2").arg(m_packages).arg(i + 1);
        holds &= readEvent(events.at(i), title, verdict.events.at(i));
    }
    return holds;
}

bool Report::readEvent(QJsonValue const &event, QString const &title, EventVerdict const &verdict)
{
    ++m_events;
    QString const types = textOf(verdict.types);
    ++m_eventsByTypes[types];
    if (m_style.isSummaryOnly)
        return verdict.faults.isEmpty();

    if (!m_style.isForPrograms) {
        writeLine(colored(bold, (title + QStringLiteral(": ") + types).toUtf8()));
        write(event, {});
        writeLine({});
    }
    for (QString const &fault : verdict.faults)
        writeFault(fault);
    return verdict.faults.isEmpty();
}

void Report::write(QJsonValue const &value, QByteArray const &indent)
{
    QByteArray const inner = indent + "    ";
    if (value.isObject() && !value.toObject().isEmpty()) {
        QJsonObject const object = value.toObject();
        char const *separator = "{\n";
        for (auto it = object.begin(); it != object.end(); ++it) {
            m_output.write(separator + inner + colored(blue, jsonOf(it.key())) + ": ");
            write(it.value(), inner);
            separator = ",\n";
        }
        m_output.write('\n' + indent + '}');
    } else if (value.isArray() && !value.toArray().isEmpty()) {
        QJsonArray const array = value.toArray();
        char const *separator = "[\n";
        for (auto const &element : array) {
            m_output.write(separator + inner);
            write(element, inner);
            separator = ",\n";
        }
        m_output.write('\n' + indent + ']');
    } else if (value.isString()) {
        m_output.write(colored(green, jsonOf(value)));
    } else {
        m_output.write(colored(magenta, jsonOf(value)));
    }
}

void Report::writeSummary()
{
    if (m_style.isForPrograms)
        return;
    m_output.write(counted(m_packages, "package") + ", " + counted(m_events, "event") + ", " + counted(m_bytes, "byte")
                   + "; " + colored(m_broken > 0 ? red : green, counted(m_broken, "line") + " broken") + '\n');

    qint64 most = 1;
    qsizetype width = 0;
    for (auto it = m_eventsByTypes.cbegin(); it != m_eventsByTypes.cend(); ++it) {
        most = std::max(most, *it);
        width = std::max(width, it.key().size());
    }
    for (auto it = m_eventsByTypes.cbegin(); it != m_eventsByTypes.cend(); ++it) {
        auto const bar = static_cast<qsizetype>(std::max(*it * longestBar / most, qint64(1)));
        m_output.write(it.key().leftJustified(width).toUtf8() + "  " + colored(blue, QByteArray(bar, '#')) + ' '
                       + QByteArray::number(*it) + '\n');
    }
}

void Report::writeFault(QString const &fault)
{
    // Of a fault in a value only the path is known: Qt's reader does not keep columns.
    if (m_style.isForPrograms)
        writeForPrograms(1, fault);
    else if (!m_style.isSummaryOnly)
        m_output.write(colored(red, fault.toUtf8()) + '\n');
}

void Report::writeForPrograms(qsizetype column, QString fault)
{
    // A key may hold a line break.
    fault.replace(QLatin1Char('\n'), QLatin1String("\\n")).replace(QLatin1Char('\r'), QLatin1String("\\r"));
    m_output.write(QStringLiteral("%1:%2: %3\n").arg(m_place, QString::number(column), fault).toUtf8());
}

void Report::writeLine(QByteArray const &line)
{
    if (!m_style.isSummaryOnly && !m_style.isForPrograms)
        m_output.write(line + '\n');
}

QByteArray Report::colored(char const *color, QByteArray const &text) const
{
    return m_style.hasColors ? color + text + "\x1b[0m" : text;
}
