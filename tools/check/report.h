#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QMap>
#include <QtCore/QString>

class QIODevice;
class QJsonObject;
class QJsonValue;

namespace wireformat {
struct EventVerdict;
}

/// Reads packages and events, one a line, and writes what they hold and what breaks the format.
class Report
{
public:
    struct Style
    {
        bool hasColors = false;
        bool isSummaryOnly = false;
        bool isForPrograms = false; ///< Faults alone, one a line, each with its place.
    };

    Report(QIODevice &output, Style style);

    /// Reads all lines. The name stands for the input in messages.
    void read(QIODevice &input, QString const &name);

    /// Ends with the counts of all that was read. Programs get none.
    void writeSummary();

    /// Whether there was nothing that breaks the format.
    bool isSound() const { return m_broken == 0; }

private:
    void readLine(QByteArray const &line);
    // These two tell whether what they read holds to the format.
    bool readPackage(QJsonObject const &package);
    bool readEvent(QJsonValue const &event, QString const &title, wireformat::EventVerdict const &verdict);
    void write(QJsonValue const &value, QByteArray const &indent);
    void writeFault(QString const &fault);
    void writeForPrograms(qsizetype column, QString fault);
    void writeLine(QByteArray const &line);
    QByteArray colored(char const *color, QByteArray const &text) const;

    QIODevice &m_output;
    Style m_style;
    QString m_place; ///< Input and number of the line being read.
    qint64 m_packages = 0;
    qint64 m_events = 0;
    qint64 m_broken = 0; ///< Lines, not faults.
    qint64 m_bytes = 0;
    QMap<QString, qint64> m_eventsByTypes;
};
