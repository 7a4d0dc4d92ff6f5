#pragma once

#include <QtCore/QIODevice>

#include <chrono>
#include <functional>

namespace stbhost {

/// SIGINT and SIGTERM, which wait to be asked for instead of ending the process.
class StopSignal
{
public:
    /// Blocks the two, for threads to be started later, too. They stay blocked.
    StopSignal();
    StopSignal(StopSignal const &) = delete;
    StopSignal &operator=(StopSignal const &) = delete;
    ~StopSignal();

    /// Waits for one of them, which is then dealt with. Returns whether one came.
    bool arrivesWithin(std::chrono::milliseconds time) const;

    /// Readable while one waits.
    int descriptor() const;

private:
    int m_descriptor;
};

/// Standard input. While nothing comes it asks now and then, and when a signal arrives, whether to go on waiting.
class StoppableInput : public QIODevice
{
public:
    StoppableInput(StopSignal const &stop, std::function<bool()> goesOn);

    bool isSequential() const override;

protected:
    qint64 readData(char *data, qint64 size) override;
    /// What the framework does by itself waits for more input when it has a line already.
    qint64 readLineData(char *data, qint64 size) override;
    qint64 writeData(char const *data, qint64 size) override;

private:
    bool readMore();
    qint64 take(char *data, qint64 size);

    StopSignal const &m_stop;
    std::function<bool()> m_goesOn;
    QByteArray m_read;
};

} // namespace stbhost
