#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QLoggingCategory>
#include <QtCore/QString>

/// A line of Qt's log.
struct LogLine
{
    QtMsgType type;
    QByteArray category;
    QByteArray file;
    QByteArray function;
    int line;
    QString text;
};

/// Keeps the lines of Qt's log, under the given rules, for as long as it lives; one at a time.
class LogCapture
{
public:
    explicit LogCapture(QString const &rules)
    {
        lines.clear();
        QLoggingCategory::setFilterRules(rules);
        m_previousHandler
            = qInstallMessageHandler([](QtMsgType type, QMessageLogContext const &context, QString const &text) {
                  lines.append({type, context.category, context.file, context.function, context.line, text});
              });
    }

    ~LogCapture() { qInstallMessageHandler(m_previousHandler); }
    Q_DISABLE_COPY_MOVE(LogCapture)

    static inline QList<LogLine> lines;

private:
    QtMessageHandler m_previousHandler = nullptr;
};
