#pragma once

#include <QtCore/QIODevice>
#include <QtCore/QMutex>

#include <cstdio>

namespace stbhost {

/// A stream with lines, and on a terminal, below them, one that says how far things are.
class Console : public QIODevice
{
public:
    /// The stream is to be unbuffered.
    explicit Console(std::FILE *stream = stderr);

    /// Removes the status.
    ~Console() override;

    /// Whether it shows a status.
    bool isTerminal() const;

    /// Writes a line; from any thread.
    void line(QString const &text);

    /// Shows the status in place of the one before, as much of it as fits; empty for none.
    void setStatus(QString const &text);

protected:
    qint64 readData(char *data, qint64 size) override;
    qint64 writeData(char const *data, qint64 size) override;

private:
    void put(QByteArray const &text);

    std::FILE *const m_stream;
    QMutex m_mutex;
    QByteArray m_status;
    bool const m_isTerminal;
};

} // namespace stbhost
